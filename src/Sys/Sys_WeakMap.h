// A cache of weak values: the map finds a live value by key, or makes one with its
// generator, but never keeps a value alive.
//
// Design:
//  1. V is counted by Sys_ThreadSafeRefCountObject and is told, when it is made, which map
//     and key it lives under (V::SetWeakMapEntry(map, key)). When its last reference goes,
//     V calls ValueDying(this) instead of deleting itself at once.
//  2. ValueDying puts the key on the pending-removal queue, and then, under the map's mutex,
//     drains the queue: each entry whose value is still unreferenced is removed and its value
//     deleted; an entry whose value was found again meanwhile (Find adds a reference under the
//     same mutex) stays. Draining asserts "!mRemoveQueue.empty()".
//  3. Find and Insert add the caller's reference under the mutex, so a value is never both
//     handed out and deleted.
// Threads: every operation takes the map's mutex; the generator runs outside it, so it may
// use the map. Two threads that miss on one key at once may both generate: the first
// inserted wins, the second value is dropped.
#pragma once

#include <deque>
#include <map>
#include <mutex>
#include <vector>

#include "Cmn_Assert.h"
#include "Cmn_PolymorphicHandle.h"

template <class K, class V, class Less = std::less<K>> class Sys_WeakMap
{
public:
    using Handle = Cmn_PolymorphicHandle<V>;

    class ValueGenerator
    {
    public:
        virtual ~ValueGenerator() = default;
        // A new value (not yet referenced) for iKey, or null when there is none.
        virtual V* GenerateValue(const K& iKey) = 0;
    };

    Sys_WeakMap() = default;
    Sys_WeakMap(const Sys_WeakMap&) = delete;
    Sys_WeakMap& operator=(const Sys_WeakMap&) = delete;
    // Live values outlive the map only detached: they then delete themselves.
    virtual ~Sys_WeakMap()
    {
        std::lock_guard<std::recursive_mutex> lock(mMutex);
        for (auto& [key, valueP] : mMap)
            valueP->SetWeakMapEntry(nullptr, key);
    }

    // The live value of iKey, or null.
    Handle Find(const K& iKey)
    {
        std::lock_guard<std::recursive_mutex> lock(mMutex);
        const auto found = mMap.find(iKey);
        return found == mMap.end() ? Handle() : Handle(found->second);
    }

    // The live value of iKey, or a new one from iGenerator (null when it makes none).
    Handle Get(const K& iKey, ValueGenerator& iGenerator)
    {
        if (Handle found = Find(iKey))
            return found;
        V* newP = iGenerator.GenerateValue(iKey);
        if (!newP)
            return Handle();
        return Insert(iKey, newP);
    }

    // Enters iValueP under iKey unless a live value is there already; returns the entry.
    Handle Insert(const K& iKey, V* iValueP)
    {
        Handle keep(iValueP);
        std::lock_guard<std::recursive_mutex> lock(mMutex);
        const auto found = mMap.find(iKey);
        if (found != mMap.end())
            return Handle(found->second);
        mMap.emplace(iKey, iValueP);
        iValueP->SetWeakMapEntry(this, iKey);
        return keep;
    }

    // Forgets iKey's entry; its value lives on, detached, as long as it is held.
    void Remove(const K& iKey)
    {
        std::lock_guard<std::recursive_mutex> lock(mMutex);
        const auto found = mMap.find(iKey);
        if (found == mMap.end())
            return;
        found->second->SetWeakMapEntry(nullptr, iKey);
        mMap.erase(found);
    }

    // Forgets every entry for which iPredicate(key) is true.
    template <class P> void RemoveIf(P iPredicate)
    {
        std::lock_guard<std::recursive_mutex> lock(mMutex);
        for (auto it = mMap.begin(); it != mMap.end();)
        {
            if (iPredicate(it->first))
            {
                it->second->SetWeakMapEntry(nullptr, it->first);
                it = mMap.erase(it);
            }
            else
                ++it;
        }
    }

    size_t Size() const
    {
        std::lock_guard<std::recursive_mutex> lock(mMutex);
        return mMap.size();
    }

    // From V, when its count reached zero.
    void ValueDying(const K& iKey)
    {
        std::vector<V*> dead;
        {
            std::lock_guard<std::recursive_mutex> lock(mMutex);
            mRemoveQueue.push_back(iKey);
            DrainRemoveQueue(&dead);
        }
        for (V* valueP : dead)
            delete valueP;
    }

private:
    void DrainRemoveQueue(std::vector<V*>* oDeadP)
    {
        CMN_ASSERT(!mRemoveQueue.empty());
        while (!mRemoveQueue.empty())
        {
            const K key = mRemoveQueue.front();
            mRemoveQueue.pop_front();
            const auto found = mMap.find(key);
            if (found == mMap.end() || found->second->GetRefCount() != 0)
                continue;
            oDeadP->push_back(found->second);
            mMap.erase(found);
        }
    }

    mutable std::recursive_mutex mMutex;
    std::map<K, V*, Less> mMap;
    std::deque<K> mRemoveQueue;
};
