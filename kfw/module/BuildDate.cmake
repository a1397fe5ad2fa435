# Writes the module's build date into a source: the time now, or SOURCE_DATE_EPOCH when it is set.
string(TIMESTAMP tDate "%Y-%m-%d %H:%M UTC" UTC)
file(WRITE ${OUTPUT}
    "// Made by the build.\n#include \"kfw/module/kfw_BuildDate.h\"\n\n"
    "namespace vel::kos::kfw {\n\nconst char BUILD_DATE[] = \"${tDate}\";\n\n} // namespace vel::kos::kfw\n")
