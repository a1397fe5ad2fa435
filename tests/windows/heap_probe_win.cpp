// Shows what a checking heap notices: "filled" reads what was freed, "changed" writes there, "beyond" writes
// past the end of a block, "twice" frees a block twice. Prints what came of it.
#include <windows.h>

#include <cstdio>
#include <string_view>

namespace {

const char* validity(HANDLE pHeap) { return HeapValidate(pHeap, 0, nullptr) ? "valid" : "damaged"; }

} // namespace

int main(int pCount, char** pArguments)
{
    const std::string_view tWhat = pCount > 1 ? pArguments[1] : "";
    const HANDLE tHeap = GetProcessHeap();
    constexpr size_t tSize = 3000;
    auto* const volatile tBlock = static_cast<unsigned char*>(HeapAlloc(tHeap, 0, tSize));
    if (!tBlock) return 1;
    tBlock[400] = 1;
    if (tWhat == "beyond") tBlock[tSize] = 1;
    if (tWhat == "beyond" || tWhat == "none") return std::printf("%s\n", validity(tHeap)), 0;
    HeapFree(tHeap, 0, tBlock);
    if (tWhat == "filled") return std::printf("%s\n", tBlock[400] == 1 ? "kept" : "filled"), 0;
    if (tWhat == "changed") tBlock[400] = 1;
    if (tWhat == "twice") HeapFree(tHeap, 0, tBlock);
    return std::printf("%s\n", validity(tHeap)), 0;
}
