// The library's headers come first: on Windows they bring the system's, whose macros ours undo.
#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>

#include "host/LogSink.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <vector>

#include "host/host_LogFile.h"
#include "kfw/IApplication.h"
#include "kgen/escape.h"
#include "kpr/mutex.h"
#include "kpr/process.h"

namespace vel::kos::host {

namespace {

struct Level {
    const char* name;
    spdlog::level::level_enum level;
};
constexpr std::array<Level, 4> LEVELS = {{{"ERROR", spdlog::level::err},
                                          {"WARNING", spdlog::level::warn},
                                          {"INFO", spdlog::level::info},
                                          {"DEBUG", spdlog::level::debug}}};

const Level& levelOf(uint32_t pLevel) { return LEVELS[std::min<std::size_t>(pLevel, LEVELS.size() - 1)]; }

std::unique_ptr<spdlog::formatter> linePattern(const char* pPattern)
{
    return std::make_unique<spdlog::pattern_formatter>(pPattern, spdlog::pattern_time_type::local, "\n");
}

/// Standard error, a line at a time.
class StandardError final : public spdlog::sinks::base_sink<kpr::Mutex> {
    void sink_it_(const spdlog::details::log_msg& pMessage) override
    {
        spdlog::memory_buf_t tLine;
        formatter_->format(pMessage, tLine);
        kprWriteStream(KPR_STDERR, tLine.data(), static_cast<uint32_t>(tLine.size()));
    }
    void flush_() override {}
};

std::shared_ptr<spdlog::logger> makeLogger(std::vector<spdlog::sink_ptr> pSinks)
{
    auto tLogger = std::make_shared<spdlog::logger>("", pSinks.begin(), pSinks.end());
    // The level is checked by write, so that nothing is formatted in vain.
    tLogger->set_level(spdlog::level::trace);
    tLogger->flush_on(spdlog::level::trace);
    tLogger->set_error_handler([](const std::string&) {});
    return tLogger;
}

} // namespace

struct LogSink::State {
    std::atomic<uint32_t> level{fw::LOG_LEVEL_WARNING};
    std::shared_ptr<spdlog::logger> logger = makeLogger({});
};

LogSink::LogSink() : mState(std::make_unique<State>()) {}

LogSink::~LogSink() = default;

uint32_t LogSink::open(const Options& pOptions, std::string* pProblem)
{
    std::vector<spdlog::sink_ptr> tSinks;
    if (pOptions.console) {
        tSinks.push_back(std::make_shared<StandardError>());
        tSinks.back()->set_formatter(linePattern("%v"));
    }
    uint32_t tRes = 0;
    if (!pOptions.file.empty()) {
        auto tFile = std::make_shared<LogFile>(pOptions.file, pOptions.fileBytes, pOptions.oldFiles);
        tRes = tFile->open();
        if (KFAILED(tRes)) {
            *pProblem = pOptions.file;
        } else {
            tFile->set_formatter(linePattern("%Y-%m-%d %H:%M:%S.%e %P:%t %v"));
            tSinks.push_back(std::move(tFile));
        }
    }
    mState->logger = makeLogger(std::move(tSinks));
    return tRes;
}

void LogSink::write(uint32_t pLevel, const char* pDomain, const char* pMessage)
{
    if (pLevel > mState->level.load(std::memory_order_relaxed)) return;
    const Level& tLevel = levelOf(pLevel);
    mState->logger->log(tLevel.level, "{} {}: {}", tLevel.name, kgen::escapeControls(pDomain ? pDomain : ""),
                        kgen::escapeControls(pMessage ? pMessage : ""));
}

uint32_t LogSink::level() const noexcept { return mState->level.load(std::memory_order_relaxed); }

void LogSink::setLevel(uint32_t pLevel) noexcept { mState->level.store(pLevel, std::memory_order_relaxed); }

void LogSink::flush() { mState->logger->flush(); }

const char* logLevelName(uint32_t pLevel) noexcept { return levelOf(pLevel).name; }

} // namespace vel::kos::host
