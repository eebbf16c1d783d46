// Which format a target of decoder_fuzzer.cpp is for: the one file that each has of its own.

extern const char* const fuzzedFormat;
const char* const fuzzedFormat = SORVANE_FUZZED_FORMAT;
