// feature: ask the feature set.
#include <charconv>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Session.h"
#include "kfw/IFeatureSet.h"
#include "kfw/classes.h"

namespace vel::kos::host {

namespace {

/// A number from decimal digits, or from "0x" and hexadecimal ones.
std::optional<uint32_t> parseFlags(std::string_view pText)
{
    const bool tHexadecimal = pText.starts_with("0x") || pText.starts_with("0X");
    if (tHexadecimal) pText.remove_prefix(2);
    uint32_t tFlags = 0;
    const char* const tEnd = pText.data() + pText.size();
    const auto tParsed = std::from_chars(pText.data(), tEnd, tFlags, tHexadecimal ? 16 : 10);
    if (tParsed.ec != std::errc() || tParsed.ptr != tEnd) return std::nullopt;
    return tFlags;
}

struct Declaration {
    std::string name, key, option;
    uint32_t flags = 0;
};

/// From NAME[:KEY[:OPTION[:FLAGS]]].
std::optional<Declaration> parseDeclaration(std::string_view pText)
{
    std::vector<std::string> tParts;
    for (std::size_t tColon; (tColon = pText.find(':')) != std::string_view::npos;) {
        tParts.emplace_back(pText.substr(0, tColon));
        pText.remove_prefix(tColon + 1);
    }
    tParts.emplace_back(pText);
    if (tParts.size() > 4) return std::nullopt;
    Declaration tDeclaration;
    if (tParts.size() > 3 && !tParts[3].empty()) {
        const auto tFlags = parseFlags(tParts[3]);
        if (!tFlags) return std::nullopt;
        tDeclaration.flags = *tFlags;
    }
    tParts.resize(4);
    tDeclaration.name = tParts[0];
    tDeclaration.key = tParts[1];
    tDeclaration.option = tParts[2];
    return tDeclaration;
}

int askFeatures(Session& pSession, const Arguments& pArguments)
{
    const std::string& tFlagsText = pArguments.text("--set-flags");
    const auto tSetFlags = parseFlags(pArguments.has("--set-flags") ? tFlagsText : "0");
    if (!tSetFlags) return pSession.usage("--set-flags: \"" + tFlagsText + "\" is not a number");
    std::vector<Declaration> tDeclarations;
    for (const std::string& tText : pArguments.list("--declare")) {
        const auto tDeclaration = parseDeclaration(tText);
        if (!tDeclaration)
            return pSession.usage("--declare: \"" + tText + "\" is not NAME[:KEY[:OPTION[:FLAGS]]]");
        tDeclarations.push_back(*tDeclaration);
    }

    Application* tApp = pSession.application();
    if (!tApp) return STATUS_FAILED;
    const auto tFeatures = pSession.create<fw::IFeatureSet>(fw::CLASS_FEATURE_SET);
    if (!tFeatures) return STATUS_FAILED;
    if (auto tRes = tFeatures->init(tApp, *tSetFlags); KFAILED(tRes)) return pSession.fail(tRes);
    std::set<std::string> tDeclared;
    for (const Declaration& tDeclaration : tDeclarations) {
        if (auto tRes = tFeatures->addFeature(tDeclaration.name.c_str(), tDeclaration.key.c_str(),
                                              tDeclaration.option.c_str(), tDeclaration.flags);
            KFAILED(tRes))
            return pSession.fail(tRes, "--declare \"" + tDeclaration.name + "\"");
        tDeclared.insert(tDeclaration.name);
    }

    int tStatus = STATUS_DONE;
    auto tJson = Json::array();
    for (const std::string& tName : pArguments.list("NAME")) {
        uint32_t tEnabled = 0;
        if (auto tRes = tFeatures->isEnabled(tName.c_str(), &tEnabled); KFAILED(tRes)) {
            tStatus = pSession.fail(tRes, "\"" + tName + "\"");
            continue;
        }
        if (!pSession.json()) {
            pSession.print(pSession.shown(tName) + (tEnabled ? " enabled\n" : " disabled\n"));
            continue;
        }
        // The set does not tell; but it learns exactly what has a property and was not declared.
        const std::string* tProperty = tApp->properties().find(tName);
        const char* tKind = tDeclared.contains(tName)          ? "declared"
                            : tProperty && !tProperty->empty() ? "learnt"
                                                               : "unknown";
        tJson.add(Json::object({{"name", tName}, {"enabled", tEnabled != 0}, {"kind", tKind}}));
    }
    if (pSession.json()) pSession.printJson(tJson);
    return tStatus;
}

} // namespace

void addFeatureCommands(std::vector<Command>& pTable)
{
    pTable.push_back({
        .name = "feature",
        .summary = "Tell whether features are enabled.",
        .run = askFeatures,
        .positionals = {{.name = "NAME", .help = "The features", .count = Positional::LIST}},
        .options = {{.names = "--declare",
                     .value = "NAME[:KEY[:OPTION[:FLAGS]]]",
                     .help = "Declare a feature beforehand; repeatable",
                     .repeatable = true},
                    {.names = "--set-flags", .value = "N", .help = "Flags of the whole set"}},
        .json = {.shape = "an array of objects, one for each name",
                 .fields = {{"name", "string", "the feature"},
                            {"enabled", "boolean", "whether it is enabled"},
                            {"kind", "string", "declared, learnt (from a property) or unknown"}}},
        .examples = {{"khost -D colour=yes feature colour", "a feature that a property enables"}},
        .effect = Command::LOOKS,
    });
}

} // namespace vel::kos::host
