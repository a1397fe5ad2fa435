// What stands in a module's file, read as data: nothing of it runs, and no field of it is trusted.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace kom::validate {

using Image = std::span<const uint8_t>;

enum class ImageFormat { UNKNOWN, ELF, PE };

/// The format that loadable modules have on this target.
#if defined(_WIN32)
inline constexpr ImageFormat NATIVE_FORMAT = ImageFormat::PE;
#else
inline constexpr ImageFormat NATIVE_FORMAT = ImageFormat::ELF;
#endif

/// By the file's first bytes.
ImageFormat formatOf(Image pImage);

/// The names that a 64-bit x86 shared library (ELF: the dynamic symbols that it defines; PE: the export
/// directory, an entry without a name as "#" and its ordinal) exports, sorted. Returns "", or what is wrong
/// with the file in words, and then no names.
std::string readExports(Image pImage, std::vector<std::string>& pNames);

/// The interface identities ("IDL:...:1.0") among the texts of the file, sorted, each once. Whether the
/// module implements them or asks others for them cannot be told from the file.
std::vector<std::string> findIdentities(Image pImage);

/// Whether a text has the form of an interface identity.
bool isIdentity(const std::string& pText);

} // namespace kom::validate
