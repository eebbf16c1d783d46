#include "hook/sorvane_hook.h"

int main(int argc, char** argv) {
    sorvane::SorvaneHook::main({argv, static_cast<std::size_t>(argc)});
    return 0;
}
