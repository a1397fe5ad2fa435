// One check's run on a module, in a child process: what it is given, and how it tells what it found.
#pragma once

#include <string>
#include <vector>

#include "kpr/file.h"
#include "kpr/map.h"
#include "tools/kom-validate/validate_Image.h"
#include "tools/kom-validate/validate_Module.h"

namespace kom::validate {

/// A class that the user names, and interfaces that it has to have.
struct GivenClass {
    std::string classId;
    std::vector<std::string> identities;
};

/// What the user tells of the module.
struct Settings {
    std::string module;                  ///< native path
    std::vector<std::string> exports;    ///< exported beside the entry points
    std::vector<GivenClass> classes;     ///< beside those that the module registers
    std::vector<std::string> singletons; ///< where given, these classes are singletons and the others are not
};

/// Thrown by a check that cannot be made on this module.
struct Skip {
    std::string reason;
};

/// An object's interface, with a reference of its own.
struct Interface {
    std::string identity;
    Ref<IUnknown> pointer;
};

/// The lines of a trial's report; each is written at once, so that a crash loses none.
namespace line {
inline constexpr char FINDING[] = "finding ";             ///< and what was found
inline constexpr char SKIP[] = "skip ";                   ///< and the reason
inline constexpr char EXPECTS_ABORT[] = "expects-abort "; ///< the number of the step and what it is
inline constexpr char DONE[] = "done";
} // namespace line

class Trial {
public:
    /// Writes its report into the file pReport, which exists; to standard output when it is "". The first
    /// pStepsDone steps that end a process have been made in earlier ones.
    Trial(const Settings& pSettings, const std::string& pReport, uint32_t pStepsDone);
    ~Trial();
    Trial(const Trial&) = delete;
    Trial& operator=(const Trial&) = delete;

    const Settings& settings() const { return mSettings; }
    /// The module's file.
    Image image() const { return {mMapping.data, static_cast<size_t>(mMapping.size)}; }

    /// A finding: the module does not keep the convention. The check goes on.
    void find(const std::string& pText);
    /// A finding unless the condition holds; returns the condition.
    bool expect(bool pCondition, const std::string& pText);
    /// Before a step that has to end the process by abort(). False: it has been made already, leave it out.
    /// When the process lives on, the check tells with find() and goes on.
    bool expectAbort(const std::string& pText);
    /// Ends the report.
    void finish(const Skip* pSkip);

    /// The module, loaded at the first call.
    const Module& module();
    /// Throws Skip unless the module exports the entry point.
    template <class TFunction>
    TFunction require(TFunction pFunction, const char* pName) const
    {
        if (!pFunction) throw Skip{std::string("the module does not export ") + pName};
        return pFunction;
    }
    /// The classes as the module registers them.
    std::vector<std::string> registeredClasses();
    /// The registered classes and those that the user names, each once.
    std::vector<std::string> classes(const Module& pModule) const;
    /// A specimen of every class that the module provides; throws Skip when there is none.
    std::vector<Specimen> specimens();
    /// The interface identities that an object of the module may have: those in its file, and what the user
    /// names.
    std::vector<std::string> identities() const;
    /// The interfaces of an object: all identities that it serves, and what its interfaces call themselves.
    std::vector<Interface> interfacesOf(IUnknown* pObject) const;

private:
    void write(const std::string& pLine);

    const Settings& mSettings;
    KprFile mReport = KPR_NO_FILE;
    KprMapping mMapping = {nullptr, 0};
    Module mModule;
    bool mLoaded = false;
    uint32_t mStepsDone;
    uint32_t mStep = 0;
};

} // namespace kom::validate
