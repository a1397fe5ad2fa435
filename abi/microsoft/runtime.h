// What a program without a standard library has instead: output, texts, and its arguments.
#pragma once

#include <cstddef>
#include <cstdint>

namespace client {

/// Writes to standard output.
void print(const char* pText);
void printNumber(uint64_t pNumber, uint32_t pBase = 10);

bool equal(const char* pA, const char* pB);
/// Puts two texts together; the result is cut off at the buffer's end.
void join(char* pBuffer, size_t pSize, const char* pA, const char* pB);

/// The program itself; what it returns is the exit status. The first argument is the program's name.
int run(int pCount, const char* const* pArguments);

} // namespace client
