// Building messages from a format text with the placeholders %1, %2, ...
//
// A placeholder is "%" and a number from 1 to 99 (as many digits as there are, at most two); everything
// else stands for itself, a "%" alone too.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

#include "kutil/api.h"

namespace vel::kos::util {

/// One argument of message(), as text.
class MessageArgument {
public:
    MessageArgument(const char* pText) : mView(pText ? pText : "") {}
    MessageArgument(const std::string& pText) : mView(pText) {}
    MessageArgument(std::string_view pText) : mView(pText) {}
    template <class T>
    requires std::is_integral_v<T> MessageArgument(T pNumber)
        : mNumber(std::to_string(pNumber)), mView(mNumber)
    {
    }
    MessageArgument(const MessageArgument&) = delete;
    MessageArgument& operator=(const MessageArgument&) = delete;

    std::string_view text() const noexcept { return mView; }

private:
    std::string mNumber;
    std::string_view mView;
};

/// message() with the arguments in an array.
KUTIL_API std::string fillMessage(std::string_view pFormat, const MessageArgument* pArguments,
                                  uint32_t pCount);

/// The format with %1 replaced by the first argument's text, and so on, in one pass: what an argument
/// contains is never taken for a placeholder. A placeholder without an argument stays as it is.
template <class... TArgs>
std::string message(std::string_view pFormat, const TArgs&... pArguments)
{
    if constexpr (sizeof...(TArgs) == 0) {
        return fillMessage(pFormat, nullptr, 0);
    } else {
        const MessageArgument tArguments[] = {MessageArgument(pArguments)...};
        return fillMessage(pFormat, tArguments, sizeof...(TArgs));
    }
}

/// Each insertion replaces every occurrence of the lowest-numbered placeholder left in the text. It cannot
/// know which "%1" came from the format and which from a value inserted before: use message() for values that
/// may contain "%" and digits, as paths and URIs do. A text without a placeholder stays as it is.
KUTIL_API std::string& operator<<(std::string& pText, const char* pValue);
KUTIL_API std::string& operator<<(std::string& pText, const std::string& pValue);
KUTIL_API std::string& operator<<(std::string& pText, int pValue);
KUTIL_API std::string& operator<<(std::string& pText, unsigned int pValue);
KUTIL_API std::string& operator<<(std::string& pText, long pValue);
KUTIL_API std::string& operator<<(std::string& pText, unsigned long pValue);
KUTIL_API std::string& operator<<(std::string& pText, unsigned short pValue);

} // namespace vel::kos::util
