#include "host/host_SessionWindow_win.h"

#include <system_error>

#include <windows.h>

namespace vel::kos::host {

namespace {

// The calls of user32, which no library of the platform imports: loaded with the first window.
struct Windowing {
    decltype(&RegisterClassExW) registerClass;
    decltype(&CreateWindowExW) create;
    decltype(&DefWindowProcW) handle;
    decltype(&SetWindowLongPtrW) setData;
    decltype(&GetWindowLongPtrW) getData;
    decltype(&GetMessageW) getMessage;
    decltype(&DispatchMessageW) dispatch;
    decltype(&DestroyWindow) destroy;
    decltype(&PostMessageW) post;
    decltype(&PostQuitMessage) quit;

    template <class TFunction>
    static bool load(HMODULE pLibrary, const char* pName, TFunction* pFunction)
    {
        *pFunction = reinterpret_cast<TFunction>(reinterpret_cast<void*>(GetProcAddress(pLibrary, pName)));
        return *pFunction != nullptr;
    }
    bool load()
    {
        const HMODULE tUser = LoadLibraryExW(L"user32.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
        return tUser && load(tUser, "RegisterClassExW", &registerClass) &&
               load(tUser, "CreateWindowExW", &create) && load(tUser, "DefWindowProcW", &handle) &&
               load(tUser, "SetWindowLongPtrW", &setData) && load(tUser, "GetWindowLongPtrW", &getData) &&
               load(tUser, "GetMessageW", &getMessage) && load(tUser, "DispatchMessageW", &dispatch) &&
               load(tUser, "DestroyWindow", &destroy) && load(tUser, "PostMessageW", &post) &&
               load(tUser, "PostQuitMessage", &quit);
    }
};

Windowing gWindowing;

/// Has the window leave. WM_CLOSE, which anybody sends to windows they want to be gone, leaves it where it
/// is.
constexpr UINT LEAVE = WM_APP;

LRESULT CALLBACK onMessage(HWND pWindow, UINT pMessage, WPARAM pFirst, LPARAM pSecond)
{
    switch (pMessage) {
    case WM_QUERYENDSESSION:
        return TRUE; // somebody else may still refuse, so nothing is done yet
    case WM_ENDSESSION:
        if (pFirst) reinterpret_cast<SessionWindow::OnEnd>(gWindowing.getData(pWindow, GWLP_USERDATA))();
        return 0;
    case WM_CLOSE:
        return 0;
    case LEAVE:
        gWindowing.destroy(pWindow);
        return 0;
    case WM_DESTROY:
        gWindowing.quit(0);
        return 0;
    default:
        return gWindowing.handle(pWindow, pMessage, pFirst, pSecond);
    }
}

// A top-level window, since those that are for messages only are not told of it; never shown. Null when it
// fails.
HWND makeWindow(SessionWindow::OnEnd pOnEnd)
{
    if (!gWindowing.load()) return nullptr;
    WNDCLASSEXW tClass{};
    tClass.cbSize = sizeof tClass;
    tClass.lpfnWndProc = onMessage;
    tClass.hInstance = GetModuleHandleW(nullptr);
    tClass.lpszClassName = SessionWindow::className();
    if (!gWindowing.registerClass(&tClass) && GetLastError() != ERROR_CLASS_ALREADY_EXISTS) return nullptr;
    const HWND tWindow = gWindowing.create(0, tClass.lpszClassName, L"", WS_POPUP, 0, 0, 0, 0, nullptr,
                                           nullptr, tClass.hInstance, nullptr);
    if (tWindow) gWindowing.setData(tWindow, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(pOnEnd));
    return tWindow;
}

} // namespace

const wchar_t* SessionWindow::className() noexcept { return L"kos host session end"; }

SessionWindow::SessionWindow(OnEnd pOnEnd) : mOnEnd(pOnEnd)
{
    const HANDLE tReady = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!tReady) return;
    try {
        mThread = std::thread(&SessionWindow::run, this, tReady);
        WaitForSingleObject(tReady, INFINITE);
    } catch (const std::system_error&) {
        // No thread is available, so there is no window.
    }
    CloseHandle(tReady);
}

SessionWindow::~SessionWindow()
{
    if (mWindow) gWindowing.post(static_cast<HWND>(mWindow), LEAVE, 0, 0);
    if (mThread.joinable()) mThread.join();
}

void SessionWindow::run(void* pReady)
{
    const HWND tWindow = makeWindow(mOnEnd);
    mWindow = tWindow;
    SetEvent(pReady);
    if (!tWindow) return;
    MSG tMessage;
    while (gWindowing.getMessage(&tMessage, nullptr, 0, 0) > 0)
        gWindowing.dispatch(&tMessage);
}

} // namespace vel::kos::host
