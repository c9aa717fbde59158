#include "FF/Audio/Processing/Overview/FF_AudioOverviewStore.h"

#include "Cmn_Assert.h"

namespace
{
FF_AudioOverviewStore* sFirstP = nullptr;
FF_AudioOverviewStore* sLastP = nullptr;
int32_t sNumStores = 0;
} // namespace

std::recursive_mutex& FF_AudioOverviewStore::GetMutex()
{
    static std::recursive_mutex sMutex;
    return sMutex;
}

FF_AudioOverviewStore::FF_AudioOverviewStore(int32_t iSize) : mSize(iSize)
{
    CMN_ASSERT(iSize >= 0);
    if (mSize > 0)
        mBuffer = std::make_unique<int8_t[]>(size_t(mSize)); // value-initialised: zero
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    mPrev = sLastP;
    if (sLastP)
        sLastP->mNext = this;
    else
        sFirstP = this;
    sLastP = this;
    ++sNumStores;
}

FF_AudioOverviewStore::~FF_AudioOverviewStore()
{
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    if (mLockCount != 0 && Cmn_Assert::sHandlerP)
        Cmn_Assert::sHandlerP(false, "mLockCount == 0", __FILE__, __LINE__);
    if (mPrev)
        mPrev->mNext = mNext;
    else
        sFirstP = mNext;
    if (mNext)
        mNext->mPrev = mPrev;
    else
        sLastP = mPrev;
    --sNumStores;
}

int8_t* FF_AudioOverviewStore::GetBuffer() const
{
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    return mBuffer.get();
}

bool FF_AudioOverviewStore::IsPurged() const
{
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    return mSize > 0 && !mBuffer;
}

void FF_AudioOverviewStore::Lock()
{
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    ++mLockCount;
}

void FF_AudioOverviewStore::Unlock()
{
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    CMN_ASSERT(mLockCount);
    --mLockCount;
}

int32_t FF_AudioOverviewStore::GetLockCount() const
{
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    return mLockCount;
}

int32_t FF_AudioOverviewStore::Purge()
{
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    if (!mBuffer)
        return 0;
    mBuffer.reset();
    return mSize;
}

FF_AudioOverviewStore* FF_AudioOverviewStore::GetFirst()
{
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    return sFirstP;
}

int32_t FF_AudioOverviewStore::GetNumStores()
{
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    return sNumStores;
}

void FF_AudioOverviewStoreRefHack::AddReference(FF_AudioOverviewStore* iP)
{
    std::lock_guard<std::recursive_mutex> lock(FF_AudioOverviewStore::GetMutex());
    iP->AddReference();
}

void FF_AudioOverviewStoreRefHack::RemoveReference(FF_AudioOverviewStore* iP)
{
    std::lock_guard<std::recursive_mutex> lock(FF_AudioOverviewStore::GetMutex());
    iP->RemoveReference();
}
