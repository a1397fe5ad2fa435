#include "host/khost/khost_Json.h"

#include <nlohmann/json.hpp>

#include "kgen/escape.h"

namespace vel::kos::host {

struct Json::Value {
    nlohmann::ordered_json json;
};

Json::Json(std::unique_ptr<Value> pValue) : mValue(std::move(pValue)) {}
Json::Json() : mValue(new Value{nullptr}) {}
Json::Json(const char* pText) : mValue(new Value{pText}) {}
Json::Json(const std::string& pText) : mValue(new Value{pText}) {}
Json::Json(const std::vector<std::string>& pTexts) : mValue(new Value{nlohmann::ordered_json::array()})
{
    for (const std::string& tText : pTexts)
        mValue->json.push_back(tText);
}
Json::Json(Flag pFlag) : mValue(new Value{pFlag.set}) {}
Json::Json(Number pNumber)
    : mValue(pNumber.isNegative ? new Value{static_cast<int64_t>(pNumber.bits)} : new Value{pNumber.bits})
{
}
Json::Json(Real pNumber) : mValue(new Value{pNumber.number}) {}
Json::Json(const Json& pOther) : mValue(new Value{pOther.mValue->json}) {}
Json::Json(Json&& pOther) noexcept = default;
Json& Json::operator=(Json pOther) noexcept
{
    mValue.swap(pOther.mValue);
    return *this;
}
Json::~Json() = default;

Json Json::array()
{
    Json tArray;
    tArray.mValue->json = nlohmann::ordered_json::array();
    return tArray;
}

Json Json::object(std::initializer_list<std::pair<const char*, Json>> pMembers)
{
    Json tObject;
    tObject.mValue->json = nlohmann::ordered_json::object();
    for (const auto& [tName, tValue] : pMembers)
        tObject.set(tName, tValue);
    return tObject;
}

void Json::add(Json pElement) { mValue->json.push_back(std::move(pElement.mValue->json)); }

void Json::set(const std::string& pName, Json pValue)
{
    mValue->json[pName] = std::move(pValue.mValue->json);
}

bool Json::has(const std::string& pName) const { return mValue->json.contains(pName); }

std::size_t Json::size() const { return mValue->json.size(); }

std::string Json::text() const
{
    const std::string tText =
        mValue->json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    // The library escapes what JSON asks for. The other control characters stand in texts only, as UTF-8.
    return kgen::escapeJsonControls(tText);
}

} // namespace vel::kos::host
