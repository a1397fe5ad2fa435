# Writes the module's build date into a header: the time now, or SOURCE_DATE_EPOCH when it is set.
string(TIMESTAMP tDate "%Y-%m-%d %H:%M UTC" UTC)
file(WRITE ${OUTPUT} "// Made by the build.\n#pragma once\n#define KFW_BUILD_DATE \"${tDate}\"\n")
