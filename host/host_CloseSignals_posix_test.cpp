#include <csignal>
#include <gtest/gtest.h>
#include <unistd.h>

#include "host/Application.h"
#include "host/testing/host_TestDirectory.h"

using namespace vel::kos;
using namespace vel::kos::host;

namespace {

class CloseSignalsTest : public testing::TestWithParam<int> {};

TEST_P(CloseSignalsTest, MakesTheApplicationCloseWithStatus1)
{
    TestDirectory tDir;
    ApplicationOptions tOptions;
    tOptions.userAppDir = tDir.text();
    tOptions.handleCloseSignals = true;
    kom::Ref<Application> tApp;
    ASSERT_EQ(Application::create(tOptions, tApp), 0u);
    EXPECT_FALSE(tApp->isCloseRequested());
    alarm(20); // a wake-up that is lost ends the test
    raise(GetParam());
    EXPECT_TRUE(tApp->isCloseRequested());
    EXPECT_EQ(tApp->run(), 1);
    EXPECT_EQ(tApp->close(), 1);
    alarm(0);
}

INSTANTIATE_TEST_SUITE_P(All, CloseSignalsTest, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST(CloseSignals, RestoresWhatWasThere)
{
    Waker tWaker;
    std::signal(SIGTERM, SIG_IGN);
    {
        CloseSignals tSignals(tWaker);
        raise(SIGTERM);
        EXPECT_FALSE(CloseSignals::isPending()) << "what is ignored stays ignored";
        raise(SIGINT);
        EXPECT_TRUE(CloseSignals::isPending());
        EXPECT_TRUE(tWaker.wait(0));
    }
    EXPECT_EQ(std::signal(SIGTERM, SIG_DFL), SIG_IGN);
    EXPECT_EQ(std::signal(SIGINT, SIG_DFL), SIG_DFL);
}

TEST(CloseSignalsDeathTest, TheSecondRequestEndsTheProcess)
{
    EXPECT_EXIT(
        {
            Waker tWaker;
            CloseSignals tSignals(tWaker);
            raise(SIGINT);
            raise(SIGINT);
            _exit(0);
        },
        testing::KilledBySignal(SIGINT), "");
}

} // namespace
