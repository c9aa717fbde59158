// The observer pattern over a message type M.
//
// An observable holds a set of Observer pointers; it never owns them. An observer must be
// removed before it is destroyed (or outlive the observable).
//   - AddObserver twice adds it once; RemoveObserver of an unknown observer does nothing.
//   - NotifyObservers(m) calls Notify(m) once on each observer registered when the call
//     starts, in an unspecified order. An observer removed during the pass (by itself or by
//     another) is not called after its removal; one added during the pass is called from the
//     next pass on. The observable itself must not be destroyed during the pass.
//   - Copying an observable does not copy its observers: a copy starts with none, and an
//     assignment keeps the target's own.
// Not thread-safe.
#pragma once

#include <set>
#include <vector>

template <class M> class Cmn_Observable
{
public:
    class Observer
    {
    public:
        virtual ~Observer() = default;
        virtual void Notify(M& ioMessage) = 0;
    };

    Cmn_Observable() = default;
    Cmn_Observable(const Cmn_Observable&) {}
    Cmn_Observable& operator=(const Cmn_Observable&) { return *this; }
    virtual ~Cmn_Observable() = default;

    void AddObserver(Observer& iObserver) { mObservers.insert(&iObserver); }
    void RemoveObserver(Observer& iObserver) { mObservers.erase(&iObserver); }
    bool HasObserver(const Observer& iObserver) const
    {
        return mObservers.count(const_cast<Observer*>(&iObserver)) != 0;
    }
    size_t GetNumObservers() const { return mObservers.size(); }

    void NotifyObservers(M& ioMessage)
    {
        // Walk a snapshot, so that observers may add and remove observers while notified.
        std::vector<Observer*> snapshot(mObservers.begin(), mObservers.end());
        for (Observer* observerP : snapshot)
        {
            if (mObservers.count(observerP) != 0)
                observerP->Notify(ioMessage);
        }
    }

private:
    std::set<Observer*> mObservers;
};
