// What two libraries ask of the compiler's run-time together: the one that is called, and the other one.
#pragma once

#include <string>

#ifdef RUN_TIME_PROBE_OTHER
#define RUN_TIME_PROBE_API __declspec(dllexport)
#else
#define RUN_TIME_PROBE_API __declspec(dllimport)
#endif

namespace run_time_probe {

/// A class of the other library, whose type information lies there.
class RUN_TIME_PROBE_API Problem {
public:
    explicit Problem(std::string pText) : mText(std::move(pText)) {}
    virtual ~Problem();
    virtual const std::string& text() const { return mText; }

private:
    std::string mText;
};

class RUN_TIME_PROBE_API GraveProblem : public Problem {
public:
    using Problem::Problem;
    ~GraveProblem() override;
};

/// Throws a GraveProblem.
RUN_TIME_PROBE_API void throwProblem(const char* pText);
/// Throws a std::runtime_error.
RUN_TIME_PROBE_API void throwError(const char* pText);
/// Asks for more memory than there is, so that operator new throws.
RUN_TIME_PROBE_API void throwBadAlloc();
/// Made by the other library's operator new; deleted by the caller.
RUN_TIME_PROBE_API Problem* makeProblem(const char* pText);
/// Appends to a text that the caller made.
RUN_TIME_PROBE_API void append(std::string& pText, size_t pCount, char pLetter);
/// How often the calling thread has called this.
RUN_TIME_PROBE_API int countInThread();
/// Calls a function and returns what std::uncaught_exceptions is when it has thrown and that has been caught.
RUN_TIME_PROBE_API int uncaughtAfter(void (*pFunction)());

} // namespace run_time_probe
