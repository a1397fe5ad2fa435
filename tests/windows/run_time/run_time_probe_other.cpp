#include "tests/windows/run_time/run_time_probe.h"

#include <cstdint>
#include <exception>
#include <new>
#include <stdexcept>

namespace run_time_probe {

namespace {
thread_local int sCalls;
}

Problem::~Problem() = default;
GraveProblem::~GraveProblem() = default;

void throwProblem(const char* pText) { throw GraveProblem(pText); }

void throwError(const char* pText) { throw std::runtime_error(pText); }

void throwBadAlloc()
{
    volatile size_t tSize = SIZE_MAX / 4;
    ::operator delete(::operator new(tSize));
}

Problem* makeProblem(const char* pText) { return new GraveProblem(pText); }

void append(std::string& pText, size_t pCount, char pLetter) { pText.append(pCount, pLetter); }

int countInThread() { return ++sCalls; }

int uncaughtAfter(void (*pFunction)())
{
    try {
        pFunction();
    } catch (...) {
    }
    return std::uncaught_exceptions();
}

} // namespace run_time_probe
