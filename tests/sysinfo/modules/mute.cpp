// A module without attributes, and on Windows without a version resource.
extern "C"
#if defined(_WIN32)
    __declspec(dllexport)
#else
    __attribute__((visibility("default")))
#endif
        int answer()
{
    return 42;
}
