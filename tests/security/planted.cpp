// A library that somebody plants where a program may look for another one: loaded, it leaves a file
// "executed" in the current folder.
#include <cstdio>

namespace {

struct Trace {
    Trace()
    {
        if (std::FILE* tFile = std::fopen("executed", "w")) std::fclose(tFile);
    }
};

const Trace gTrace;

} // namespace
