// Which consumers are registered for which events, and the iterations over them.
#pragma once

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <boost/unordered/unordered_flat_map.hpp>

#include "kfw/IEventDispatcher.h"
#include "kom/ref.h"

namespace vel::kos::kfw {

/// An ordered multimap from names to counted consumers. Equal names share one list, in the order of
/// registration; the same consumer may stand in the table more than once.
///
/// Registrations may be added and removed while iterations are in progress (Iteration), also by the
/// destructor of a consumer whose last reference the table gives back: by then the table has changed
/// completely. For one thread.
class EventConsumerTable {
    /// In the order of their bytes, unsigned; a name before those that it begins.
    struct NameOrder {
        using is_transparent = void;
        bool operator()(std::string_view pA, std::string_view pB) const
        {
            const int tOrder = std::memcmp(pA.data(), pB.data(), std::min(pA.size(), pB.size()));
            return tOrder < 0 || (tOrder == 0 && pA.size() < pB.size());
        }
    };
    using Registrations = std::vector<kom::Ref<fw::IEventConsumer>>;
    using Lists = std::map<std::string, Registrations, NameOrder>;

public:
    /// Two sums over the bytes of a name, each over every second one, so that the processor makes them side
    /// by side. Byte by byte, because the event has only just written the name: a wider read of what several
    /// writes made has to wait until they have reached the cache.
    struct NameHash {
        using is_avalanching = void;
        std::size_t operator()(std::string_view pName) const noexcept;
    };
    /// A name and its registrations. A list without registrations exists only while an iteration is in it.
    using List = Lists::value_type;
    class Iteration;

    EventConsumerTable() = default;
    EventConsumerTable(const EventConsumerTable&) = delete;
    EventConsumerTable& operator=(const EventConsumerTable&) = delete;

    /// The list of a name, null when there is none. It stays valid until a registration is removed, and while
    /// an iteration is in it.
    List* find(std::string_view pName);
    /// The same for the empty name, which is asked for with every event: it can only be the first.
    List* findForAll()
    {
        return !mLists.empty() && mLists.begin()->first.empty() ? &*mLists.begin() : nullptr;
    }
    /// Whether there is no list.
    bool empty() const { return mLists.empty(); }

    /// Registers a consumer after those of its name, and takes a reference to it.
    void add(std::string_view pName, fw::IEventConsumer* pConsumer);
    /// Removes every registration of a consumer (the same pointer), and gives the references back.
    void remove(fw::IEventConsumer* pConsumer);
    /// Removes the consumer's registrations under one name.
    void remove(std::string_view pName, fw::IEventConsumer* pConsumer);
    /// Removes everything, name by name, and what is added meanwhile. No iteration may be in progress.
    void clear();

private:
    /// Removes a consumer from one list. pLast gets one of the references: it has to outlive every use of the
    /// list, since the consumer's destructor may change the table.
    void removeFrom(List& pList, fw::IEventConsumer* pConsumer, kom::Ref<fw::IEventConsumer>& pLast);
    /// Tells the iterations in a list that it has changed.
    void updateIterations(const List& pList);
    /// Whether a list is of no more use.
    bool isUnused(const List& pList) const;
    /// Drops a list; returns the one that follows it.
    Lists::iterator drop(Lists::iterator pList);
    void dropIfUnused(const List& pList);

    Lists mLists;
    /// Where each name stands in mLists, whose strings are the keys: a name is looked up by its hash, not by
    /// a comparison at every level of the tree.
    boost::unordered_flat_map<std::string_view, Lists::iterator, NameHash> mIndex;
    Iteration* mIterations = nullptr; ///< those in progress, the innermost first
};

/// Goes over the registrations of one list in order, whatever happens to them meanwhile: what is added is
/// reached, what is removed is not, and the consumer being served lives until the next one is asked for.
/// Iterations end in the reverse of the order in which they began.
class EventConsumerTable::Iteration {
public:
    Iteration(EventConsumerTable& pTable, List& pList)
        : mTable(pTable), mList(pList), mOuter(pTable.mIterations)
    {
        pTable.mIterations = this;
        update();
    }
    Iteration(const Iteration&) = delete;
    Iteration& operator=(const Iteration&) = delete;
    ~Iteration()
    {
        mTable.mIterations = mOuter;
        if (mList.second.empty()) mTable.dropIfUnused(mList);
    }

    /// The consumer to serve next, without a reference; null at the end. The one served before is done with:
    /// its destructor may run.
    fw::IEventConsumer* next()
    {
        mState = SERVING_NONE;
        if (mServing) mServing.reset();
        if (mNext >= mSize) return nullptr;
        mState = SERVING_REGISTERED;
        return mFirst[mNext++].get();
    }
    const std::string& name() const { return mList.first; }

private:
    friend EventConsumerTable;

    /// What becomes of the consumer that next returned last.
    enum State : uint8_t {
        SERVING_NONE,       ///< there is none
        SERVING_REGISTERED, ///< it is being served, and its registration, the one before mNext, holds it
        SERVING_REMOVED     ///< it is being served, and mServing holds it
    };

    bool isIn(const List& pList) const { return &mList == &pList; }
    /// The list has changed.
    void update()
    {
        mFirst = mList.second.data();
        mSize = mList.second.size();
    }
    /// The registration at an index of the list goes: those after it move up.
    void removed(std::size_t pIndex, const kom::Ref<fw::IEventConsumer>& pConsumer)
    {
        if (pIndex >= mNext) return;
        --mNext;
        if (pIndex != mNext || mState != SERVING_REGISTERED) return;
        mServing = pConsumer;
        mState = SERVING_REMOVED;
    }

    EventConsumerTable& mTable;
    List& mList;
    Iteration* const mOuter;
    const kom::Ref<fw::IEventConsumer>* mFirst; ///< of the list, until it changes
    std::size_t mSize;
    std::size_t mNext = 0;
    State mState = SERVING_NONE;
    kom::Ref<fw::IEventConsumer> mServing; ///< the consumer being served, once it is not registered any more
};

} // namespace vel::kos::kfw
