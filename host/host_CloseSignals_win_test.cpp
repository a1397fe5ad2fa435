#include "host/host_CloseSignals_win.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <windows.h>

#include "host/Application.h"
#include "host/testing/host_TestDirectory.h"

using namespace vel::kos;
using namespace vel::kos::host;

namespace {

TEST(CloseSignals, CtrlCMakesTheApplicationCloseWithStatus1)
{
    TestDirectory tDir;
    ApplicationOptions tOptions;
    tOptions.userAppDir = tDir.text();
    tOptions.handleCloseSignals = true;
    kom::Ref<Application> tApp;
    ASSERT_EQ(Application::create(tOptions, tApp), 0u);
    EXPECT_FALSE(tApp->isCloseRequested());
    std::thread tSystem([] { EXPECT_TRUE(handleControlEvent(CTRL_C_EVENT)); });
    EXPECT_EQ(tApp->run(), 1);
    tSystem.join();
    EXPECT_EQ(tApp->close(), 1);
}

TEST(CloseSignals, TheSecondRequestIsLeftToTheSystem)
{
    Waker tWaker;
    CloseSignals tSignals(tWaker);
    EXPECT_TRUE(handleControlEvent(CTRL_C_EVENT));
    EXPECT_TRUE(CloseSignals::isPending());
    EXPECT_TRUE(tWaker.wait(0));
    EXPECT_FALSE(handleControlEvent(CTRL_C_EVENT));
}

TEST(CloseSignals, TheClosingConsoleIsHeldUpUntilTheWorkIsDone)
{
    Waker tWaker;
    std::atomic<bool> tReturned{false};
    std::thread tSystem;
    {
        CloseSignals tSignals(tWaker);
        tSystem = std::thread([&] {
            EXPECT_TRUE(handleControlEvent(CTRL_CLOSE_EVENT));
            tReturned = true;
        });
        EXPECT_TRUE(tWaker.wait(Waker::FOREVER));
        Sleep(50);
        EXPECT_FALSE(tReturned);
    }
    tSystem.join();
    EXPECT_TRUE(tReturned);
}

TEST(CloseSignals, TheClosingConsoleIsHeldUpAlsoWhenAnotherRequestCameFirst)
{
    Waker tWaker;
    std::atomic<bool> tReturned{false};
    std::thread tSystem;
    {
        CloseSignals tSignals(tWaker);
        EXPECT_TRUE(handleControlEvent(CTRL_C_EVENT));
        tSystem = std::thread([&] {
            EXPECT_TRUE(handleControlEvent(CTRL_CLOSE_EVENT));
            tReturned = true;
        });
        Sleep(50);
        EXPECT_FALSE(tReturned) << "the default handler would end the process in the middle of its work";
    }
    tSystem.join();
}

} // namespace
