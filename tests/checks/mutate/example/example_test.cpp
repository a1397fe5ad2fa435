#include <cstdio>

extern int gCalls;
int clamp(int pNumber);
int count(const char* pText);

int main()
{
    const bool tRight = clamp(-1) == 0 && clamp(3) == 6 && gCalls == 2 && count("abc") == 3;
    if (!tRight) std::puts("[  FAILED  ] Example.Works (0 ms)");
    return tRight ? 0 : 1;
}
