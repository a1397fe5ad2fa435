// Where what works on a cache's files reports its problems.
#pragma once

#include <string>
#include <string_view>

#include "kutil/message.h"

namespace vel::kos::kfw {

/// Takes messages and failed checks. The module writes them to the application's log; who looks at a cache
/// from outside keeps them.
class ProblemLog {
public:
    /// Reports a problem: a format and its arguments, as util::message takes them.
    template <class... TArgs>
    void debug(std::string_view pFormat, const TArgs&... pArguments)
    {
        writeDebug(util::message(pFormat, pArguments...));
    }
    /// Reports a failed internal check, at a line of the calling source.
    virtual void assertion(const char* pExpression, int pLine) = 0;

protected:
    ~ProblemLog() = default;

private:
    virtual void writeDebug(const std::string& pMessage) = 0;
};

/// Keeps the first message.
class FirstProblem final : public ProblemLog {
public:
    /// "" when nothing was reported.
    const std::string& text() const noexcept { return mText; }
    void assertion(const char*, int) override {}

private:
    void writeDebug(const std::string& pMessage) override
    {
        if (mText.empty()) mText = pMessage;
    }

    std::string mText;
};

} // namespace vel::kos::kfw
