// What the driver tells a worker: "name=value" words on its command line.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace vel::kos::storm {

class WorkerOptions {
public:
    WorkerOptions() = default;
    explicit WorkerOptions(const std::vector<std::string>& pWords)
    {
        for (const std::string& tWord : pWords)
            if (const std::size_t tEqual = tWord.find('='); tEqual != std::string::npos)
                mValues[tWord.substr(0, tEqual)] = tWord.substr(tEqual + 1);
    }

    WorkerOptions& set(const std::string& pName, const std::string& pValue)
    {
        mValues[pName] = pValue;
        return *this;
    }
    WorkerOptions& set(const std::string& pName, int64_t pValue)
    {
        return set(pName, std::to_string(pValue));
    }

    /// "" when it is not there.
    std::string text(const std::string& pName) const
    {
        const auto tEntry = mValues.find(pName);
        return tEntry == mValues.end() ? std::string() : tEntry->second;
    }
    /// 0 when it is not there.
    int64_t number(const std::string& pName) const { return std::strtoll(text(pName).c_str(), nullptr, 10); }
    std::vector<std::string> words() const
    {
        std::vector<std::string> tWords;
        for (const auto& [tName, tValue] : mValues)
            tWords.push_back(tName + "=" + tValue);
        return tWords;
    }

private:
    std::map<std::string, std::string> mValues;
};

} // namespace vel::kos::storm
