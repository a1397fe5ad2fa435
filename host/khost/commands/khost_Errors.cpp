// errors.
#include <array>
#include <charconv>
#include <cstdio>
#include <memory>
#include <optional>

#include "host/khost/khost_Commands.h"
#include "kom/identity.h"

namespace vel::kos::host {

namespace {

std::string hexadecimal(uint32_t pCode)
{
    std::array<char, 16> tText;
    std::snprintf(tText.data(), tText.size(), "0x%08X", static_cast<unsigned>(pCode));
    return tText.data();
}

/// A code given as "0x" and hexadecimal digits, as a decimal number, or by its name.
std::optional<uint32_t> parseCode(const std::string& pText)
{
    const bool tHexadecimal = pText.starts_with("0x") || pText.starts_with("0X");
    const char* const tEnd = pText.data() + pText.size();
    uint32_t tCode = 0;
    const auto tParsed =
        std::from_chars(pText.data() + (tHexadecimal ? 2 : 0), tEnd, tCode, tHexadecimal ? 16 : 10);
    if (tParsed.ec == std::errc() && tParsed.ptr == tEnd) return tCode;
    uint32_t tCount = 0;
    const KomResultCode* tRows = komGetResultCodes(&tCount);
    for (uint32_t i = 0; i < tCount; ++i)
        if (pText == tRows[i].name) return tRows[i].code;
    return std::nullopt;
}

int showErrors(Session& pSession, const std::string& pWanted)
{
    std::optional<uint32_t> tCode;
    if (!pWanted.empty() && !(tCode = parseCode(pWanted)))
        return pSession.usage("\"" + pWanted + "\" is neither a number nor the name of a result code");
    if (tCode && !*komGetResultName(*tCode)) return pSession.fail(*tCode);

    uint32_t tCount = 0;
    const KomResultCode* tRows = komGetResultCodes(&tCount);
    auto tJson = nlohmann::ordered_json::array();
    for (uint32_t i = 0; i < tCount; ++i) {
        if (tCode && tRows[i].code != *tCode) continue;
        const std::string tNumber = hexadecimal(tRows[i].code);
        if (pSession.json())
            tJson.push_back({{"code", tNumber}, {"name", tRows[i].name}, {"text", tRows[i].text}});
        else
            pSession.print(tNumber + " " + tRows[i].name + " " + tRows[i].text + "\n");
    }
    if (pSession.json()) pSession.printJson(tJson);
    return STATUS_DONE;
}

} // namespace

void addErrorCommands(CLI::App& pRoot, Session& pSession)
{
    CLI::App* tErrors = pRoot.add_subcommand("errors", "Show the table of result codes, or one of them.");
    auto tCode = std::make_shared<std::string>();
    tErrors->add_option("CODE", *tCode, "0x and hexadecimal digits, a decimal number, or a name")
        ->type_name("");
    pSession.onRun(tErrors, [&pSession, tCode] { return showErrors(pSession, *tCode); });
}

} // namespace vel::kos::host
