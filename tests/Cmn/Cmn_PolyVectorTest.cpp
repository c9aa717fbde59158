#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "Cmn_Assert.h"
#include "Cmn_PolyVector.h"
#include "Cmn_PolyVectorStream.h"
#include "L10N_ExceptionData.h"

namespace
{
// An element that keeps books on its own lifetime: every live object's address is in sLive,
// so a double destruction, a use of a dead object or a leak shows up as a fault. Copies can
// be made to throw on the Nth copy construction or assignment.
struct Tracked
{
    static std::set<const Tracked*> sLive;
    static int sFaults;
    static int sCopiesUntilThrow; // <= 0: never throw

    int mValue;

    explicit Tracked(int iValue = 0) : mValue(iValue) { Born(); }
    Tracked(const Tracked& iOther) : mValue(iOther.mValue)
    {
        CheckLive(&iOther);
        MaybeThrow();
        Born();
    }
    Tracked& operator=(const Tracked& iOther)
    {
        CheckLive(this);
        CheckLive(&iOther);
        MaybeThrow();
        mValue = iOther.mValue;
        return *this;
    }
    ~Tracked()
    {
        if (sLive.erase(this) != 1)
            ++sFaults;
    }
    bool operator==(const Tracked& iOther) const { return mValue == iOther.mValue; }

    static void MaybeThrow()
    {
        if (sCopiesUntilThrow > 0 && --sCopiesUntilThrow == 0)
            throw std::runtime_error("copy failed");
    }
    static void CheckLive(const Tracked* iP)
    {
        if (!sLive.count(iP))
            ++sFaults;
    }
    void Born()
    {
        if (!sLive.insert(this).second)
            ++sFaults;
    }
};
std::set<const Tracked*> Tracked::sLive;
int Tracked::sFaults = 0;
int Tracked::sCopiesUntilThrow = 0;

class Cmn_PolyVectorLifetime : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Tracked::sLive.clear();
        Tracked::sFaults = 0;
        Tracked::sCopiesUntilThrow = 0;
    }
    void TearDown() override
    {
        Tracked::sCopiesUntilThrow = 0;
        EXPECT_EQ(Tracked::sFaults, 0);
        EXPECT_TRUE(Tracked::sLive.empty()) << Tracked::sLive.size() << " elements never destroyed";
    }
};

using TVec = Cmn_PolyVector<Tracked>;

std::vector<int> Values(const TVec& iVec)
{
    std::vector<int> values;
    for (const Tracked& t : iVec)
        values.push_back(t.mValue);
    return values;
}

// Every element of the vector is live and the size agrees with the pointers.
void ExpectSound(const TVec& iVec)
{
    EXPECT_EQ(static_cast<size_t>(iVec.end() - iVec.begin()), iVec.size());
    EXPECT_LE(iVec.size(), iVec.capacity());
    for (const Tracked& t : iVec)
        EXPECT_EQ(Tracked::sLive.count(&t), 1u);
}

// One random operation applied to both the vector and the model. Values are drawn so that
// every element is told apart by its value.
void RandomStep(std::mt19937& ioRng, TVec& ioVec, std::vector<int>& ioModel, int& ioNext)
{
    auto pick = [&](size_t iMax) { return std::uniform_int_distribution<size_t>(0, iMax)(ioRng); };
    size_t size = ioModel.size();
    switch (pick(13))
    {
    case 0:
    case 1:
    {
        int v = ioNext++;
        ioVec.push_back(Tracked(v));
        ioModel.push_back(v);
        break;
    }
    case 2:
    {
        size_t at = pick(size);
        int v = ioNext++;
        auto it = ioVec.insert(ioVec.begin() + at, Tracked(v));
        EXPECT_EQ(it, ioVec.begin() + at);
        ioModel.insert(ioModel.begin() + static_cast<std::ptrdiff_t>(at), v);
        break;
    }
    case 3:
    {
        size_t at = pick(size), n = pick(6);
        int v = ioNext++;
        ioVec.insert(ioVec.begin() + at, n, Tracked(v));
        ioModel.insert(ioModel.begin() + static_cast<std::ptrdiff_t>(at), n, v);
        break;
    }
    case 4:
    {
        // A range from elsewhere.
        size_t at = pick(size), n = pick(7);
        std::vector<Tracked> src;
        for (size_t i = 0; i < n; ++i)
            src.emplace_back(ioNext++);
        ioVec.insert(ioVec.begin() + at, src.data(), src.data() + n);
        for (size_t i = 0; i < n; ++i)
            ioModel.insert(ioModel.begin() + static_cast<std::ptrdiff_t>(at + i), src[i].mValue);
        break;
    }
    case 5:
    {
        // A range from the vector itself.
        if (size == 0)
            break;
        size_t first = pick(size - 1), last = first + pick(size - first), at = pick(size);
        std::vector<int> part(ioModel.begin() + static_cast<std::ptrdiff_t>(first),
                              ioModel.begin() + static_cast<std::ptrdiff_t>(last));
        ioVec.insert(ioVec.begin() + at, ioVec.begin() + first, ioVec.begin() + last);
        ioModel.insert(ioModel.begin() + static_cast<std::ptrdiff_t>(at), part.begin(), part.end());
        break;
    }
    case 6:
    {
        // Copies of one of its own elements.
        if (size == 0)
            break;
        size_t from = pick(size - 1), at = pick(size), n = pick(4);
        int v = ioModel[from];
        ioVec.insert(ioVec.begin() + at, n, ioVec[from]);
        ioModel.insert(ioModel.begin() + static_cast<std::ptrdiff_t>(at), n, v);
        break;
    }
    case 7:
    {
        if (size == 0)
            break;
        size_t at = pick(size - 1);
        auto it = ioVec.erase(ioVec.begin() + at);
        EXPECT_EQ(it, ioVec.begin() + at);
        ioModel.erase(ioModel.begin() + static_cast<std::ptrdiff_t>(at));
        break;
    }
    case 8:
    {
        size_t first = pick(size), last = first + pick(size - first);
        ioVec.erase(ioVec.begin() + first, ioVec.begin() + last);
        ioModel.erase(ioModel.begin() + static_cast<std::ptrdiff_t>(first),
                      ioModel.begin() + static_cast<std::ptrdiff_t>(last));
        break;
    }
    case 9:
    {
        size_t n = pick(size + 8);
        int v = ioNext++;
        ioVec.resize(n, Tracked(v));
        ioModel.resize(n, v);
        break;
    }
    case 10:
    {
        size_t oldCap = ioVec.capacity();
        size_t n = pick(size + 20);
        ioVec.reserve(n);
        EXPECT_GE(ioVec.capacity(), std::max(n, oldCap));
        break;
    }
    case 11:
    {
        // Assignment from a vector of a random size (grows in place, shrinks, or reallocates).
        TVec other;
        std::vector<int> otherModel;
        for (size_t i = pick(size + 10); i > 0; --i)
        {
            otherModel.push_back(ioNext);
            other.push_back(Tracked(ioNext++));
        }
        ioVec = other;
        ioModel = otherModel;
        EXPECT_EQ(Values(other), otherModel);
        break;
    }
    case 12:
    {
        TVec copy(ioVec);
        EXPECT_EQ(Values(copy), ioModel);
        TVec other;
        other.swap(copy);
        ioVec.swap(other);
        break;
    }
    default:
        if (size > 0)
        {
            ioVec.pop_back();
            ioModel.pop_back();
        }
        break;
    }
}
} // namespace

TEST_F(Cmn_PolyVectorLifetime, RandomOperationsMatchStdVector)
{
    for (unsigned seed = 1; seed <= 8; ++seed)
    {
        std::mt19937 rng(seed);
        TVec vec;
        std::vector<int> model;
        int next = 0;
        for (int step = 0; step < 400; ++step)
        {
            RandomStep(rng, vec, model, next);
            ASSERT_EQ(Values(vec), model) << "seed " << seed << " step " << step;
            ASSERT_EQ(Tracked::sLive.size(), model.size()) << "seed " << seed << " step " << step;
            // Keep sizes bounded.
            if (model.size() > 60)
            {
                vec.erase(vec.begin() + 30, vec.end());
                model.resize(30);
            }
        }
        ExpectSound(vec);
    }
}

TEST_F(Cmn_PolyVectorLifetime, ThrowingCopiesNeverLeakOrDoubleDestroy)
{
    // Random operations with a copy that fails after a random number of successes. After a
    // failure the vector must hold only live elements, and the model is taken from it.
    int failures = 0;
    for (unsigned seed = 1; seed <= 8; ++seed)
    {
        std::mt19937 rng(seed * 7919);
        TVec vec;
        std::vector<int> model;
        int next = 0;
        for (int step = 0; step < 300; ++step)
        {
            Tracked::sCopiesUntilThrow = std::uniform_int_distribution<int>(1, 12)(rng);
            try
            {
                RandomStep(rng, vec, model, next);
            }
            catch (const std::runtime_error&)
            {
                ++failures;
                model = Values(vec);
            }
            Tracked::sCopiesUntilThrow = 0;
            ExpectSound(vec);
            ASSERT_EQ(Tracked::sLive.size(), vec.size()) << "seed " << seed << " step " << step;
            ASSERT_EQ(Tracked::sFaults, 0) << "seed " << seed << " step " << step;
            if (model.size() > 60)
            {
                vec.erase(vec.begin() + 30, vec.end());
                model.resize(30);
            }
        }
    }
    EXPECT_GT(failures, 100); // the injection really ran through the failure paths
}

TEST_F(Cmn_PolyVectorLifetime, ReallocationFailureLeavesVectorUnchanged)
{
    // Walk the failing copy over every copy that a growing insert and a reserve make.
    for (int n = 1; n <= 12; ++n)
    {
        TVec vec;
        for (int i = 0; i < 5; ++i)
            vec.push_back(Tracked(i));
        vec.reserve(5); // no-op: capacity is already at least 5
        const Tracked* oldData = vec.data();
        size_t oldCap = vec.capacity();
        std::vector<int> before = Values(vec);
        Tracked extra(100);

        Tracked::sCopiesUntilThrow = n;
        bool threw = false;
        try
        {
            vec.insert(vec.begin() + 2, oldCap, extra); // must reallocate
        }
        catch (const std::runtime_error&)
        {
            threw = true;
        }
        Tracked::sCopiesUntilThrow = 0;
        if (threw)
        {
            EXPECT_EQ(Values(vec), before) << "insert, copy " << n;
            EXPECT_EQ(vec.data(), oldData);
            EXPECT_EQ(vec.capacity(), oldCap);
        }
        else
        {
            EXPECT_GT(n, static_cast<int>(oldCap + 5))
                << "the insert made fewer copies than expected";
        }

        TVec other;
        for (int i = 0; i < 6; ++i)
            other.push_back(Tracked(i));
        std::vector<int> otherBefore = Values(other);
        Tracked::sCopiesUntilThrow = n;
        try
        {
            other.reserve(100);
            EXPECT_GT(n, 6);
        }
        catch (const std::runtime_error&)
        {
            EXPECT_LE(n, 6);
            EXPECT_EQ(Values(other), otherBefore);
            EXPECT_LT(other.capacity(), 100u);
        }
        Tracked::sCopiesUntilThrow = 0;
        EXPECT_EQ(Tracked::sFaults, 0);
    }
}

TEST_F(Cmn_PolyVectorLifetime, EveryElementDestroyedOnce)
{
    {
        TVec vec(10, Tracked(3));
        EXPECT_EQ(Tracked::sLive.size(), 10u);
        vec.erase(vec.begin() + 2, vec.begin() + 7);
        EXPECT_EQ(Tracked::sLive.size(), 5u);
        vec.resize(2);
        EXPECT_EQ(Tracked::sLive.size(), 2u);
        TVec moved(std::move(vec));
        EXPECT_TRUE(vec.empty());
        EXPECT_EQ(Tracked::sLive.size(), 2u);
        vec = moved;
        EXPECT_EQ(Tracked::sLive.size(), 4u);
        vec.clear();
        EXPECT_EQ(Tracked::sLive.size(), 2u);
    }
    EXPECT_TRUE(Tracked::sLive.empty());
}

TEST(Cmn_PolyVector, AtThrowsPastTheEnd)
{
    Cmn_PolyVector<int> vec{10, 20, 30};
    EXPECT_EQ(vec.at(2), 30);
    EXPECT_EQ(*static_cast<const int*>(vec.GetImpl().At(vec.size() - 1)), 30);
    try
    {
        vec.at(3);
        FAIL() << "At(Size()) did not throw";
    }
    catch (const std::exception& e)
    {
        EXPECT_TRUE(L10N_IsException(e, 7, 10));
        EXPECT_NE(std::string(e.what()).find("out_of_range: Cmn_PolyVectorImpl::At"),
                  std::string::npos)
            << e.what();
    }
    const Cmn_PolyVector<int>& constVec = vec;
    EXPECT_THROW(constVec.at(size_t(-1)), L10N_Exception);

    Cmn_PolyVector<int> empty;
    EXPECT_THROW(empty.at(0), L10N_Exception);
}

TEST(Cmn_PolyVector, GrowsAndKeepsElementsOfOtherTypes)
{
    Cmn_PolyVector<std::string> strings;
    for (int i = 0; i < 100; ++i)
        strings.insert(strings.begin() + i / 2, std::string(static_cast<size_t>(i), 'x'));
    EXPECT_EQ(strings.size(), 100u);
    std::vector<size_t> lengths;
    for (const std::string& s : strings)
        lengths.push_back(s.size());
    std::vector<size_t> expected;
    for (int i = 0; i < 100; ++i)
        expected.insert(expected.begin() + i / 2, static_cast<size_t>(i));
    EXPECT_EQ(lengths, expected);

    struct alignas(32) Wide
    {
        double mValues[4];
    };
    Cmn_PolyVector<Wide> wide(3, Wide{{1, 2, 3, 4}});
    wide.push_back(Wide{{5, 6, 7, 8}});
    EXPECT_EQ(reinterpret_cast<uintptr_t>(wide.data()) % 32, 0u);
    EXPECT_EQ(wide[3].mValues[2], 7);
}

TEST(Cmn_PolyVectorOutStream, WritesOverwritesAppendsAndFillsGaps)
{
    Cmn_PolyVector<unsigned char> bytes;
    Cmn_PolyVectorOutStream out(&bytes);
    out.Write("abcd", 4);
    EXPECT_EQ(out.GetPos(), 4);
    EXPECT_EQ(out.GetEndPos(), 4);

    // Straddles the end: two bytes overwrite, two are appended.
    out.SetPos(2);
    out.Write("WXYZ", 4);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "abWXYZ");
    EXPECT_EQ(out.GetPos(), 6);

    // Wholly inside: nothing grows.
    out.SetPos(1);
    out.Write("q", 1);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "aqWXYZ");
    EXPECT_EQ(out.GetPos(), 2);

    // Past the end: the gap reads as zeros.
    out.SetPos(9);
    out.Write("!", 1);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), std::string("aqWXYZ\0\0\0!", 10));
    EXPECT_EQ(out.GetEndPos(), 10);
    EXPECT_EQ(out.GetPos(), 10);

    out.Write("", 0);
    EXPECT_EQ(out.GetEndPos(), 10);
    EXPECT_THROW(out.SetPos(-1), Cmn_AssertException);
}

TEST(Cmn_PolyVectorInStream, ReadsTheVectorInPlace)
{
    Cmn_PolyVector<unsigned char> bytes;
    for (unsigned char c : std::string("hello world"))
        bytes.push_back(c);
    Cmn_PolyVectorInStream in(bytes);
    EXPECT_EQ(in.GetBegin(), bytes.data()); // no copy
    EXPECT_EQ(in.GetEndPos(), 11);
    char buffer[6] = {};
    in.Read(buffer, 5);
    EXPECT_STREQ(buffer, "hello");
    EXPECT_EQ(in.GetPos(), 5);
    try
    {
        in.Read(buffer, 7); // only 6 left
        FAIL() << "read past the end";
    }
    catch (const std::exception& e)
    {
        EXPECT_TRUE(L10N_IsException(e, 7, 8)) << e.what();
    }
    EXPECT_EQ(in.GetPos(), 5);

    // After the vector moves, Sync follows it and keeps the position.
    bytes.reserve(1000);
    Cmn_PolyVectorOutStream out(&bytes);
    out.SetPos(11);
    out.Write("!!", 2);
    in.Sync();
    EXPECT_EQ(in.GetBegin(), bytes.data());
    EXPECT_EQ(in.GetPos(), 5);
    char rest[9] = {};
    in.Read(rest, 8);
    EXPECT_STREQ(rest, " world!!");
}
