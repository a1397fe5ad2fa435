// What scripts/mutate is tried on: 1 + 1 in a comment stays as it is.
#include <cstdio>

#define TWICE(x) ((x) + (x))

static_assert(sizeof(char) == 1, "text 1 == 1");

#ifdef NOT_ON_THIS_SYSTEM
int elsewhere(int pNumber) { return pNumber + 1; }
#endif

int gCalls = 0;

struct Lock {
    ~Lock() {}
};

int clamp(int pNumber)
{
    const Lock tLock;
    ++gCalls;
    if (pNumber < 0) return 0;
    return TWICE(pNumber);
}

int count(const char* pText)
{
    int tCount = 0;
    while (pText[tCount])
        ++tCount;
    return tCount;
}

void greet(bool pLoud)
{
    std::puts(GREETING);
    ++gCalls;
    if (pLoud && gCalls) std::puts("!");
}

constexpr int SIZE = 1;
const char* const NAMES[] = {"a"};
static_assert(sizeof(NAMES) / sizeof(*NAMES) == SIZE);

void report(int pNumber)
{
    if (pNumber = clamp(pNumber); pNumber < 2) std::puts("small");
}
