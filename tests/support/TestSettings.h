// A user's settings for one test: the platform's real store, under a name of the test's own.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "tests/support/TestApplication.h"

namespace vel::kos::test {

/// The settings stand until the object goes. Nodes are named below the module's: "UserData", "" for the
/// module's own.
class TestSettings {
public:
    /// Makes no node yet, and no store where the store is a file.
    TestSettings();
    /// Settings that another process has made: name() of there. They are not removed.
    explicit TestSettings(const std::string& pName);
    ~TestSettings();
    TestSettings(const TestSettings&) = delete;
    TestSettings& operator=(const TestSettings&) = delete;

    /// An application that keeps its settings here.
    kom::Ref<TestApplication> application() const;
    /// What the host does when it starts.
    void makeModuleNode() const;
    /// Tells these settings from others; for the constructor above.
    const std::string& name() const { return mName; }
    /// The folder that holds the store's file; "" where the store is none.
    const std::string& folder() const { return mFolder; }
    /// The store's file; "" where the store is none.
    std::string file() const { return mFolder.empty() ? std::string() : mFolder + "/settings"; }

    /// The values of a node as a tool of the platform shows them, "string:<text>" or "bool:<number>".
    std::map<std::string, std::string> seenFromOutside(const std::string& pNode) const;
    /// Runs pBody while nobody but a superuser may write the node; the values of the others neither, where
    /// the store is a file. pBody may run in a process of its own that ends with it, as a user without
    /// privileges; its failures are the test's.
    void whileReadOnly(const std::string& pNode, const std::function<void()>& pBody) const;

private:
    std::string mName;
    std::string mFolder;
    bool mOwner;
};

} // namespace vel::kos::test
