#include "kfw/events/kfw_EventConsumerTable.h"

#include <bit>
#include <iterator>
#include <utility>

namespace vel::kos::kfw {

namespace {

uint64_t addByte(uint64_t pSum, char pByte) { return std::rotl(pSum, 7) ^ static_cast<unsigned char>(pByte); }

} // namespace

std::size_t EventConsumerTable::NameHash::operator()(std::string_view pName) const noexcept
{
    uint64_t tEven = 0, tOdd = 0;
    std::size_t i = 0;
    for (; i + 1 < pName.size(); i += 2) {
        tEven = addByte(tEven, pName[i]);
        tOdd = addByte(tOdd, pName[i + 1]);
    }
    if (i < pName.size()) tEven = addByte(tEven, pName[i]);
    const uint64_t tHash = tEven * 0x9E3779B97F4A7C15 + tOdd * 0xD6E8FEB86659FD93; // odd, of mixed bits
    return tHash ^ (tHash >> 32);
}

EventConsumerTable::List* EventConsumerTable::find(std::string_view pName)
{
    const auto tFound = mIndex.find(pName);
    return tFound == mIndex.end() ? nullptr : &*tFound->second;
}

void EventConsumerTable::add(std::string_view pName, fw::IEventConsumer* pConsumer)
{
    List* tList = find(pName);
    if (!tList) {
        const auto tNew = mLists.emplace(pName, Registrations()).first;
        mIndex.emplace(tNew->first, tNew);
        tList = &*tNew;
    }
    tList->second.push_back(kom::retain(pConsumer));
    updateIterations(*tList);
}

void EventConsumerTable::remove(fw::IEventConsumer* pConsumer)
{
    kom::Ref<fw::IEventConsumer> tLast;
    for (auto tList = mLists.begin(); tList != mLists.end();) {
        removeFrom(*tList, pConsumer, tLast);
        tList = isUnused(*tList) ? drop(tList) : std::next(tList);
    }
}

void EventConsumerTable::remove(std::string_view pName, fw::IEventConsumer* pConsumer)
{
    List* const tList = find(pName);
    if (!tList) return;
    kom::Ref<fw::IEventConsumer> tLast;
    removeFrom(*tList, pConsumer, tLast);
    dropIfUnused(*tList);
}

void EventConsumerTable::clear()
{
    while (!mLists.empty()) {
        const auto tRegistrations = std::move(mLists.begin()->second);
        drop(mLists.begin());
    }
}

void EventConsumerTable::removeFrom(List& pList, fw::IEventConsumer* pConsumer,
                                    kom::Ref<fw::IEventConsumer>& pLast)
{
    auto& tRegistrations = pList.second;
    std::size_t tCount = 0;
    for (auto& tConsumer : tRegistrations) {
        if (tConsumer.get() != pConsumer) {
            std::swap(tRegistrations[tCount++], tConsumer);
            continue;
        }
        pLast = std::move(tConsumer);
        for (Iteration* tIteration = mIterations; tIteration; tIteration = tIteration->mOuter)
            if (tIteration->isIn(pList)) tIteration->removed(tCount, pLast);
    }
    tRegistrations.resize(tCount);
    updateIterations(pList);
}

void EventConsumerTable::updateIterations(const List& pList)
{
    for (Iteration* tIteration = mIterations; tIteration; tIteration = tIteration->mOuter)
        if (tIteration->isIn(pList)) tIteration->update();
}

bool EventConsumerTable::isUnused(const List& pList) const
{
    bool tUsed = !pList.second.empty();
    for (Iteration* tIteration = mIterations; tIteration && !tUsed; tIteration = tIteration->mOuter)
        tUsed = tIteration->isIn(pList);
    return !tUsed;
}

EventConsumerTable::Lists::iterator EventConsumerTable::drop(Lists::iterator pList)
{
    mIndex.erase(pList->first);
    return mLists.erase(pList);
}

void EventConsumerTable::dropIfUnused(const List& pList)
{
    if (!isUnused(pList)) return;
    if (const auto tFound = mIndex.find(pList.first); tFound != mIndex.end()) drop(tFound->second);
}

} // namespace vel::kos::kfw
