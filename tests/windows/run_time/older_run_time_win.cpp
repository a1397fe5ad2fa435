// A library under the name of one of the compiler's run-time libraries, with nothing in it that our files
// import: what an older, or an entirely different, run-time is to them.
#include <windows.h>

extern "C" __declspec(dllexport) int isOlderRunTime() { return 1; }

extern "C" BOOL WINAPI startLibrary(HINSTANCE, DWORD, LPVOID) { return TRUE; }
