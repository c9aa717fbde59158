#include <gtest/gtest.h>
#include <stdexcept>

#include "Cmn_Assert.h"
#include "Cmn_CacheableProperty.h"
#include "Cmn_RefCountObject.h"
#include "Cmn_Store.h"

namespace
{
class TestStore : public Cmn_Store
{
public:
    int mOpens = 0, mCloses = 0;
    bool mFailOpen = false;

protected:
    void OpenImpl(EOpenFlag) override
    {
        ++mOpens;
        if (mFailOpen)
            throw std::runtime_error("cannot open");
    }
    void CloseImpl() override { ++mCloses; }
};
} // namespace

TEST(Cmn_Store, NestedOpensRunImplOnce)
{
    TestStore store;
    store.Open(Cmn_Store::eOpenFlag_OpenForWrite);
    store.Open(Cmn_Store::eOpenFlag_OpenForRead); // a store open for write accepts any open
    store.Open(Cmn_Store::eOpenFlag_OpenCreate);
    EXPECT_EQ(store.mOpens, 1);
    EXPECT_EQ(store.GetOpenFlag(), Cmn_Store::eOpenFlag_OpenForWrite);
    store.Close();
    store.Close();
    EXPECT_EQ(store.mCloses, 0);
    EXPECT_TRUE(store.IsOpen());
    store.Close();
    EXPECT_EQ(store.mCloses, 1);
    EXPECT_FALSE(store.IsOpen());
    EXPECT_THROW(store.Close(), Cmn_AssertException);
    // The same object can be opened again.
    store.Open(Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_EQ(store.mOpens, 2);
    store.Close();
}

TEST(Cmn_Store, OpenForReadRefusesOpenForWrite)
{
    TestStore store;
    store.Open(Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_THROW(store.Open(Cmn_Store::eOpenFlag_OpenForWrite), Cmn_AssertException);
    EXPECT_EQ(store.GetOpenRefCount(), 1);
    store.Close();
}

TEST(Cmn_Store, FailedOpenLeavesStoreClosedAndRetriable)
{
    TestStore store;
    store.mFailOpen = true;
    EXPECT_THROW(store.Open(Cmn_Store::eOpenFlag_OpenForRead), std::runtime_error);
    EXPECT_FALSE(store.IsOpen());
    EXPECT_EQ(store.GetOpenRefCount(), 0);
    store.mFailOpen = false;
    store.Open(Cmn_Store::eOpenFlag_OpenForWrite);
    EXPECT_EQ(store.mOpens, 2);
    EXPECT_EQ(store.GetOpenFlag(), Cmn_Store::eOpenFlag_OpenForWrite);
    store.Close();
}

namespace
{
// A property whose source may or may not know the value.
class TestProperty : public Cmn_CacheableProperty<int>
{
public:
    bool mSourceKnows = false;
    int mSourceValue = 0;
    mutable int mReads = 0;
    int mWrites = 0;
    int mLastWritten = 0;

protected:
    void ReadProperty() const override
    {
        ++mReads;
        if (mSourceKnows)
            StoreFromSourceConst(mSourceValue);
    }
    void WriteProperty(const void* iValueP) override
    {
        ++mWrites;
        mLastWritten = *static_cast<const int*>(iValueP);
    }
    bool CanWriteProperty() const override { return true; }
};
} // namespace

TEST(Cmn_CacheableProperty, UnknownValueIsAskedForEachTime)
{
    TestProperty p;
    int out = -7;
    EXPECT_FALSE(p.Get(&out));
    EXPECT_FALSE(p.Get(&out));
    EXPECT_EQ(out, -7) << "a failed Get leaves its argument alone";
    EXPECT_EQ(p.mReads, 2);
    p.mSourceKnows = true;
    p.mSourceValue = 44100;
    EXPECT_TRUE(p.Get(&out));
    EXPECT_EQ(out, 44100);
    EXPECT_TRUE(p.Get(&out));
    EXPECT_EQ(p.mReads, 3) << "a held value is not read again";
    EXPECT_FALSE(p.IsDirty()) << "a value from the source is not dirty";
}

TEST(Cmn_CacheableProperty, SetMarksDirtyAndWritesThrough)
{
    TestProperty p;
    p.Set(48000);
    EXPECT_TRUE(p.IsDirty());
    EXPECT_TRUE(p.IsCached());
    EXPECT_EQ(p.mWrites, 1);
    EXPECT_EQ(p.mLastWritten, 48000);
    int out = 0;
    EXPECT_TRUE(p.Get(&out));
    EXPECT_EQ(out, 48000);
    EXPECT_EQ(p.mReads, 0);
}

namespace
{
class Counted : public Cmn_RefCountObject
{
public:
    explicit Counted(int* ioLiveP) : mLiveP(ioLiveP) { ++*mLiveP; }
    ~Counted() override { --*mLiveP; }

private:
    int* mLiveP;
};
} // namespace

TEST(Cmn_AliasedRefCountPtr, LastHandleDeletes)
{
    int live = 0;
    {
        Cmn_AliasedRefCountPtr<Counted> a(new Counted(&live));
        EXPECT_EQ(a->GetRefCount(), 1);
        {
            Cmn_AliasedRefCountPtr<Counted> b = a;
            EXPECT_TRUE(a->IsShared());
            Cmn_AliasedRefCountPtr<Counted> c = std::move(b);
            EXPECT_EQ(a->GetRefCount(), 2);
            c = a; // self-family assignment keeps the count right
            EXPECT_EQ(a->GetRefCount(), 2);
        }
        EXPECT_EQ(a->GetRefCount(), 1);
        a.Reset(new Counted(&live));
        EXPECT_EQ(live, 1);
    }
    EXPECT_EQ(live, 0);
}
