// A thread-safe subscriber list over a message type M.
//
// Subscribe and Unsubscribe may be called from any thread, also from inside a notification.
// NotifySubscribers calls Listen(m) on each listener subscribed when the pass starts, in the
// order they subscribed; one unsubscribed during the pass is not called after its removal.
// The list's recursive mutex is held during the pass, so once Unsubscribe has returned on
// another thread the listener is called no more and may be destroyed. A listener must
// therefore not wait for another thread that notifies the same list. Listeners are never
// owned; subscribing twice subscribes once.
#pragma once

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

template <class M> class Cmn_Notifier
{
public:
    class Listener
    {
    public:
        virtual ~Listener() = default;
        virtual void Listen(M& ioMessage) = 0;
    };

    Cmn_Notifier() = default;
    Cmn_Notifier(const Cmn_Notifier&) = delete;
    Cmn_Notifier& operator=(const Cmn_Notifier&) = delete;
    virtual ~Cmn_Notifier() = default;

    void Subscribe(Listener& iListener)
    {
        std::lock_guard<std::recursive_mutex> lock(mMutex);
        if (std::find(mListeners.begin(), mListeners.end(), &iListener) == mListeners.end())
            mListeners.push_back(&iListener);
        mCount.store(mListeners.size());
    }
    void Unsubscribe(Listener& iListener)
    {
        std::lock_guard<std::recursive_mutex> lock(mMutex);
        mListeners.erase(std::remove(mListeners.begin(), mListeners.end(), &iListener),
                         mListeners.end());
        mCount.store(mListeners.size());
    }
    size_t GetNumSubscribers() const
    {
        std::lock_guard<std::recursive_mutex> lock(mMutex);
        return mListeners.size();
    }
    void NotifySubscribers(M& ioMessage)
    {
        // Without subscribers (the common case on a busy queue) no lock is taken. A listener
        // subscribing concurrently may miss this message, as it would a moment earlier.
        if (mCount.load() == 0)
            return;
        std::lock_guard<std::recursive_mutex> lock(mMutex);
        if (mListeners.empty())
            return;
        const std::vector<Listener*> snapshot = mListeners;
        for (Listener* listenerP : snapshot)
        {
            if (std::find(mListeners.begin(), mListeners.end(), listenerP) != mListeners.end())
                listenerP->Listen(ioMessage);
        }
    }

private:
    mutable std::recursive_mutex mMutex;
    std::vector<Listener*> mListeners;
    std::atomic<size_t> mCount{0};
};
