#pragma once

// For tests on other systems.

extern "C" int* _NSGetArgc();
extern "C" char*** _NSGetArgv();
