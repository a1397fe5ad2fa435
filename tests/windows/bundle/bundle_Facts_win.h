// What a reader of a report has to know about the machine that it is from.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace bundle {

using Facts = std::vector<std::pair<std::string, std::string>>;

/// The version of Wine; empty on a real Windows.
std::string wineVersion();
/// Whether this process may do what administrators may.
bool isElevated();
/// File system, kind and abilities of the volume that a folder lies on.
std::string volumeOf(const std::string& pFolder);
/// The console's code page for output; 0 without a console.
unsigned codePage();
/// System, machine, volume of pWork, settings. pScratch is a folder for what other programs say.
Facts collectFacts(const std::string& pWork, const std::string& pScratch);

} // namespace bundle
