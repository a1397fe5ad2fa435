// The end of the session, sent to the window as the system does.
#include "host/host_SessionWindow_win.h"

#include <atomic>
#include <gtest/gtest.h>
#include <windows.h>

#include "host/Application.h"
#include "host/CloseSignals.h"
#include "host/host_CloseSignals_win.h"
#include "host/testing/host_TestDirectory.h"

using namespace vel::kos;
using namespace vel::kos::host;

namespace {

std::atomic<int> gEnds{0};

/// This process's window: other hosts may run, which must not be told that the session ends.
HWND findWindow()
{
    HWND tWindow = nullptr;
    DWORD tProcess = 0;
    do {
        tWindow = FindWindowExW(nullptr, tWindow, SessionWindow::className(), nullptr);
        if (tWindow) GetWindowThreadProcessId(tWindow, &tProcess);
    } while (tWindow && tProcess != GetCurrentProcessId());
    return tWindow;
}

/// Sends from a thread of its own, as another process does.
class Sender {
public:
    explicit Sender(HWND pWindow, WPARAM pEnding = TRUE)
        : mThread([=, this] {
              EXPECT_EQ(SendMessageW(pWindow, WM_QUERYENDSESSION, 0, 0), TRUE);
              EXPECT_EQ(SendMessageW(pWindow, WM_ENDSESSION, pEnding, 0), 0);
              mReturned = true;
          })
    {
    }
    ~Sender() { mThread.join(); }
    bool hasReturned() const { return mReturned; }

private:
    std::atomic<bool> mReturned{false};
    std::thread mThread;
};

TEST(SessionWindow, IsAnOrdinaryOneThatIsNotShown)
{
    gEnds = 0;
    {
        const SessionWindow tSession([] { ++gEnds; });
        ASSERT_TRUE(tSession.isThere());
        const HWND tWindow = findWindow();
        ASSERT_NE(tWindow, nullptr) << "windows that are for messages only are not found, nor told";
        EXPECT_FALSE(IsWindowVisible(tWindow));
    }
    EXPECT_EQ(findWindow(), nullptr);
    EXPECT_EQ(gEnds, 0);
}

TEST(SessionWindow, StaysWhenSomebodyWantsWindowsClosed)
{
    const SessionWindow tSession([] { ++gEnds; });
    ASSERT_TRUE(tSession.isThere());
    EXPECT_EQ(SendMessageW(findWindow(), WM_CLOSE, 0, 0), 0);
    EXPECT_NE(findWindow(), nullptr);
}

TEST(SessionWindow, TellsWhenTheSessionEndsAndNotBefore)
{
    gEnds = 0;
    const SessionWindow tSession([] { ++gEnds; });
    ASSERT_TRUE(tSession.isThere());
    {
        const Sender tCancelled(findWindow(), FALSE);
    }
    EXPECT_EQ(gEnds, 0) << "somebody refused";
    {
        const Sender tEnding(findWindow());
    }
    EXPECT_EQ(gEnds, 1);
}

TEST(SessionWindow, TheEndIsHeldUpUntilTheWorkIsDone)
{
    Waker tWaker;
    std::unique_ptr<Sender> tSystem;
    {
        const CloseSignals tSignals(tWaker);
        tSystem = std::make_unique<Sender>(findWindow());
        EXPECT_TRUE(tWaker.wait(Waker::FOREVER));
        EXPECT_TRUE(CloseSignals::isPending());
        Sleep(50);
        EXPECT_FALSE(tSystem->hasReturned());
    }
    tSystem.reset();
}

TEST(SessionWindow, TheEndIsHeldUpAlsoWhenAnotherRequestCameFirst)
{
    Waker tWaker;
    std::unique_ptr<Sender> tSystem;
    {
        const CloseSignals tSignals(tWaker);
        EXPECT_TRUE(handleControlEvent(CTRL_C_EVENT));
        tSystem = std::make_unique<Sender>(findWindow());
        Sleep(100);
        EXPECT_FALSE(tSystem->hasReturned());
    }
    tSystem.reset();
}

TEST(SessionWindow, TheApplicationClosesBeforeTheSessionEnds)
{
    TestDirectory tDir;
    ApplicationOptions tOptions;
    tOptions.userAppDir = tDir.text();
    tOptions.handleCloseSignals = true;
    kom::Ref<Application> tApp;
    ASSERT_EQ(Application::create(tOptions, tApp), 0u);
    auto tSystem = std::make_unique<Sender>(findWindow());
    EXPECT_EQ(tApp->run(), 1);
    EXPECT_FALSE(tSystem->hasReturned());
    EXPECT_EQ(tApp->close(), 1);
    tApp.reset();
    tSystem.reset();
}

} // namespace
