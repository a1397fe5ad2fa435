// JSON values as commands make them. Only khost_Json.cpp knows the library behind them, which is slow to
// compile.
#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vel::kos::host {

/// A JSON value; the members of an object keep the order in which they were set. Bytes of a text that are not
/// UTF-8 come out as replacement characters, since JSON cannot hold them.
class Json {
public:
    Json(); ///< null
    Json(const char* pText);
    Json(const std::string& pText);
    Json(const std::vector<std::string>& pTexts);
    template <std::same_as<bool> T>
    Json(T pFlag) : Json(Flag{pFlag})
    {
    }
    template <std::integral T>
    requires(!std::same_as<T, bool>) Json(T pNumber) : Json(toNumber(pNumber)) {}
    /// A finite number.
    template <std::floating_point T>
    Json(T pNumber) : Json(Real{pNumber})
    {
    }
    Json(const Json& pOther);
    Json(Json&& pOther) noexcept;
    Json& operator=(Json pOther) noexcept;
    ~Json();

    static Json array();
    static Json object(std::initializer_list<std::pair<const char*, Json>> pMembers = {});

    /// Appends an element to an array.
    void add(Json pElement);
    /// Sets a member of an object, replacing one of that name.
    void set(const std::string& pName, Json pValue);
    /// Whether an object has a member of that name.
    bool has(const std::string& pName) const;
    /// The number of an array's elements or an object's members.
    std::size_t size() const;

    /// The value over several lines, indented by two blanks a level, without a line end after it. Control
    /// characters are escaped, DEL and C1 too.
    std::string text() const;

private:
    struct Value;
    struct Flag {
        bool set;
    };
    struct Real {
        double number;
    };
    struct Number {
        bool isNegative;
        uint64_t bits;
    };
    template <std::integral T>
    static Number toNumber(T pNumber)
    {
        return {pNumber < 0, static_cast<uint64_t>(pNumber)};
    }

    explicit Json(Flag pFlag);
    explicit Json(Number pNumber);
    explicit Json(Real pNumber);
    explicit Json(std::unique_ptr<Value> pValue);

    std::unique_ptr<Value> mValue;
};

} // namespace vel::kos::host
