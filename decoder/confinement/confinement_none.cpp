// Builds that are limited in time alone. The sanitizers': AddressSanitizer reserves terabytes of
// address space, and opens files and starts processes to report what it found. Those that count
// what runs: the counters are written to a file at the end. Those for an emulator: the limits would
// hold for the emulator, which takes more memory and other system calls than the decoder.

#include "decoder/confinement/confinement.h"

namespace sorvane::decoder {

void confine(std::uint64_t /*memory*/) {}

} // namespace sorvane::decoder
