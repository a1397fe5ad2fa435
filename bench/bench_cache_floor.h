// What the cache's operations come down to, made with bare system calls.
#pragma once

#include <cstddef>
#include <string>

namespace bench {

/// A cache directory that is used without any cache: the same files, the same locks.
class Floor {
public:
    /// pDir holds the counter file and the objects.
    explicit Floor(const std::string& pDir);
    ~Floor();
    Floor(const Floor&) = delete;
    Floor& operator=(const Floor&) = delete;

    // Each ends the program when a call fails.

    /// Exclusive lock; a temporary file made, opened, written, closed and renamed; the counter read and
    /// written; unlock.
    void put(const std::string& pPath, const void* pBytes, std::size_t pSize);
    /// Shared lock; open, size, read into a new buffer, close; unlock. Returns the bytes read.
    std::size_t get(const std::string& pPath);
    /// The same with only the first 4 KB read.
    std::size_t getStart(const std::string& pPath);
    /// Shared lock; file time and clock; unlock.
    bool has(const std::string& pPath);

private:
    void lock(short pType);
    std::size_t read(const std::string& pPath, std::size_t pMost);

    int mCounter;
    unsigned mTemp = 0;
};

} // namespace bench
