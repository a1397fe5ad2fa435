// errors.
#include <array>
#include <charconv>
#include <cstdio>
#include <optional>

#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Session.h"
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

int showErrors(Session& pSession, const Arguments& pArguments)
{
    const std::string& tWanted = pArguments.text("CODE");
    std::optional<uint32_t> tCode;
    if (!tWanted.empty() && !(tCode = parseCode(tWanted)))
        return pSession.usage("\"" + tWanted + "\" is neither a number nor the name of a result code");
    if (tCode && !*komGetResultName(*tCode)) return pSession.fail(*tCode);

    uint32_t tCount = 0;
    const KomResultCode* tRows = komGetResultCodes(&tCount);
    auto tJson = Json::array();
    for (uint32_t i = 0; i < tCount; ++i) {
        if (tCode && tRows[i].code != *tCode) continue;
        const std::string tNumber = hexadecimal(tRows[i].code);
        if (pSession.json())
            tJson.add(Json::object({{"code", tNumber}, {"name", tRows[i].name}, {"text", tRows[i].text}}));
        else
            pSession.print(tNumber + " " + tRows[i].name + " " + tRows[i].text + "\n");
    }
    if (pSession.json()) pSession.printJson(tJson);
    return STATUS_DONE;
}

} // namespace

void addErrorCommands(std::vector<Command>& pTable)
{
    pTable.push_back({
        .name = "errors",
        .summary = "Show the table of result codes, or one of them.",
        .run = showErrors,
        .positionals = {{.name = "CODE",
                         .help = "0x and hexadecimal digits, a decimal number, or a name",
                         .count = Positional::OPTIONAL}},
        .json = {.shape = "an array of objects, in the order of the codes",
                 .fields = {{"code", "string", "0x and eight hexadecimal digits"},
                            {"name", "string", "the code's name"},
                            {"text", "string", "what it means"}}},
        .examples = {{"khost errors 0x96230003", "what a code of a log line means"}},
        .effect = Command::LOOKS,
    });
}

} // namespace vel::kos::host
