// The storms in their long form.
//
//     storm_soak SECONDS [FILES]
//
// Runs the storms for about so long all together (0: none), and a pass over so many files (0: none). Prints
// one JSON object: {"storms": [{"name", "figures": {...}}...], "failures": [...]}. Status 1 when anything was
// wrong.
#include <cstdio>
#include <cstdlib>
#include <functional>

#include "kpr/testing/kpr_testing.h"
#include "tests/reliability/storm/storm_Pass.h"
#include "tests/reliability/storm/storm_Storms.h"

namespace vel::kos::storm {

namespace {

#if defined(_WIN32)
constexpr bool SLOW = true; // processes start slowly under an emulator
#else
constexpr bool SLOW = false;
#endif

class Soak {
public:
    explicit Soak(uint64_t pSeconds) : mSeconds(pSeconds) {}

    /// Repeats a storm for a share of the time, at least once.
    void run(const char* pName, double pShare, const std::function<Figures()>& pStorm)
    {
        const uint64_t tEnd = monotonicNow() + static_cast<uint64_t>(double(mSeconds) * 1e6 * pShare);
        Figures tFigures;
        do {
            tFigures.add(pStorm());
            std::fprintf(stderr, "soak: %s: %llu rounds, %llu failures\n", pName,
                         static_cast<unsigned long long>(tFigures.rounds),
                         static_cast<unsigned long long>(tFigures.failures.size()));
        } while (monotonicNow() < tEnd);
        add(pName, tFigures.rows(), tFigures.failures);
    }

    void add(const std::string& pName, const Rows& pRows, const std::vector<std::string>& pFailures)
    {
        mOut +=
            (mOut.empty() ? "" : ",\n") + std::string(" {\"name\": ") + quoted(pName) + ", \"figures\": {";
        for (std::size_t i = 0; i < pRows.size(); ++i)
            mOut += (i ? ", " : "") + quoted(pRows[i].first) + ": " + std::to_string(pRows[i].second);
        mOut += "}}";
        for (const std::string& tFailure : pFailures)
            mFailures += (mFailures.empty() ? "" : ", ") + quoted(pName + ": " + tFailure);
    }

    int finish() const
    {
        std::printf("{\"storms\": [\n%s],\n\"failures\": [%s]}\n", mOut.c_str(), mFailures.c_str());
        return mFailures.empty() ? 0 : 1;
    }

private:
    static std::string quoted(const std::string& pText)
    {
        std::string tQuoted = "\"";
        for (const char tChar : pText) {
            if (tChar == '"' || tChar == '\\') tQuoted += '\\';
            tQuoted += tChar >= 0 && tChar < ' ' ? ' ' : tChar;
        }
        return tQuoted + '"';
    }

    uint64_t mSeconds;
    std::string mOut, mFailures;
};

void runStorms(Soak& pSoak)
{
    StressOptions tOptions;
    tOptions.speed = SLOW ? 300 : 600;
    tOptions.processes = SLOW ? 3 : 6;
    tOptions.rounds = SLOW ? 10 : 100;
    pSoak.run("kills", 0.3, [&] { return killStorm(tOptions); });
    pSoak.run("ends at every call", 0.1, [&] { return injectedEnds(tOptions); });
    tOptions.seconds = 20;
    pSoak.run("pins", 0.3, [&] { return pinStorm(tOptions); });
    tOptions.processes = SLOW ? 6 : 16;
    tOptions.threads = SLOW ? 2 : 4;
    tOptions.speed = 200; // so many threads hold each other up
    pSoak.run("many processes", 0.15, [&] { return manyProcesses(tOptions); });
    tOptions.speed = SLOW ? 300 : 600;
    tOptions.processes = SLOW ? 8 : 32;
    tOptions.rounds = SLOW ? 10 : 50;
    pSoak.run("election", 0.15, [&] { return election(tOptions); });
}

int soak(uint64_t pSeconds, unsigned pFiles)
{
    Soak tSoak(pSeconds);
    if (pSeconds > 0) runStorms(tSoak);
    if (pFiles > 0) {
        const PassFigures tPass = measurePass(pFiles, 5000);
        tSoak.add("pass", tPass.rows(), tPass.failures);
    }
    return tSoak.finish();
}

} // namespace

} // namespace vel::kos::storm

int main()
{
    const std::vector<std::string> tArguments = kprtest::arguments();
    if (tArguments.empty()) return 2;
    const uint64_t tSeconds = std::strtoull(tArguments[0].c_str(), nullptr, 10);
    const unsigned long tFiles = tArguments.size() > 1 ? std::strtoul(tArguments[1].c_str(), nullptr, 10) : 0;
    return vel::kos::storm::soak(tSeconds, static_cast<unsigned>(tFiles));
}
