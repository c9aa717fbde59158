#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "Cmn_PolyVector.h"
#include "Cmn_PolyVectorStream.h"
#include "Support/TestSupport.h"

namespace
{
// An element that keeps books on its own lifetime: every live object's address is in sLive,
// so a double destruction, a use of a dead object or a leak shows up as a fault. Copies can
// be made to throw on the Nth copy construction or assignment.
struct Tracked
{
    static inline std::set<const Tracked*> sLive;
    static inline int sFaults = 0;
    static inline int sCopiesUntilThrow = 0; // <= 0: never throw

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
    ~Tracked() { sFaults += sLive.erase(this) != 1; }

    static void MaybeThrow()
    {
        if (sCopiesUntilThrow > 0 && --sCopiesUntilThrow == 0)
            throw std::runtime_error("copy failed");
    }
    static void CheckLive(const Tracked* iP) { sFaults += sLive.count(iP) == 0; }
    void Born() { sFaults += !sLive.insert(this).second; }
};

class Cmn_PolyVectorLifetime : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Tracked::sLive.clear();
        Tracked::sFaults = Tracked::sCopiesUntilThrow = 0;
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
    auto mAt = [&](size_t i) { return ioModel.begin() + static_cast<std::ptrdiff_t>(i); };
    const size_t size = ioModel.size(), op = pick(13), at = pick(size), n = pick(6);
    const size_t first = pick(size), last = first + pick(size - first);
    const size_t elem = size ? pick(size - 1) : 0; // an existing element when size > 0
    switch (size == 0 && (op == 6 || op == 7 || op == 13) ? 0 : op)
    {
    case 0:
    case 1:
        ioVec.push_back(Tracked(ioNext));
        ioModel.push_back(ioNext++);
        break;
    case 2:
    {
        auto it = ioVec.insert(ioVec.begin() + at, Tracked(ioNext)); // may reallocate
        EXPECT_EQ(it, ioVec.begin() + at);
        ioModel.insert(mAt(at), ioNext++);
        break;
    }
    case 3:
        ioVec.insert(ioVec.begin() + at, n, Tracked(ioNext));
        ioModel.insert(mAt(at), n, ioNext++);
        break;
    case 4: // a range from elsewhere
    {
        std::vector<Tracked> src;
        src.reserve(n);
        for (size_t i = 0; i < n; ++i)
        {
            ioModel.insert(mAt(at + i), ioNext);
            src.emplace_back(ioNext++);
        }
        ioVec.insert(ioVec.begin() + at, src.data(), src.data() + n);
        break;
    }
    case 5: // a range from the vector itself
    {
        std::vector<int> part(mAt(first), mAt(last));
        ioVec.insert(ioVec.begin() + at, ioVec.begin() + first, ioVec.begin() + last);
        ioModel.insert(mAt(at), part.begin(), part.end());
        break;
    }
    case 6: // copies of one of its own elements
        ioVec.insert(ioVec.begin() + at, n, ioVec[elem]);
        ioModel.insert(mAt(at), n, ioModel[elem]);
        break;
    case 7:
        EXPECT_EQ(ioVec.erase(ioVec.begin() + elem), ioVec.begin() + elem);
        ioModel.erase(mAt(elem));
        break;
    case 8:
        ioVec.erase(ioVec.begin() + first, ioVec.begin() + last);
        ioModel.erase(mAt(first), mAt(last));
        break;
    case 9:
        ioVec.resize(first + n, Tracked(ioNext)); // shrinks or grows
        ioModel.resize(first + n, ioNext++);
        break;
    case 10:
    {
        const size_t oldCap = ioVec.capacity();
        ioVec.reserve(at + 3 * n);
        EXPECT_GE(ioVec.capacity(), std::max(at + 3 * n, oldCap));
        break;
    }
    case 11: // assignment from a vector that fits in place, is smaller, or needs a new block
    {
        TVec other;
        std::vector<int> otherModel;
        for (size_t i = at + 2 * n; i > 0; --i)
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
        TVec copy(ioVec), other;
        EXPECT_EQ(Values(copy), ioModel);
        other.swap(copy);
        ioVec.swap(other);
        break;
    }
    default:
        ioVec.pop_back();
        ioModel.pop_back();
        break;
    }
}

// Runs random steps over 8 seeds. With iThrowing, a copy fails after a random number of
// successes; the vector must then hold only live elements, and the model is taken from it.
// Returns the number of failed steps.
int RunRandomSteps(unsigned iSeedFactor, int iSteps, bool iThrowing)
{
    int failures = 0;
    for (unsigned seed = 1; seed <= 8; ++seed)
    {
        std::mt19937 rng(seed * iSeedFactor);
        TVec vec;
        std::vector<int> model;
        int next = 0;
        for (int step = 0; step < iSteps; ++step)
        {
            SCOPED_TRACE(testing::Message() << "seed " << seed << " step " << step);
            if (iThrowing)
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
            EXPECT_EQ(Values(vec), model);
            EXPECT_EQ(Tracked::sLive.size(), model.size());
            EXPECT_EQ(Tracked::sFaults, 0);
            if (testing::Test::HasFailure())
                return failures;
            if (model.size() > 60) // keep sizes bounded
            {
                vec.erase(vec.begin() + 30, vec.end());
                model.resize(30);
            }
        }
        ExpectSound(vec);
    }
    return failures;
}
} // namespace

TEST_F(Cmn_PolyVectorLifetime, RandomOperationsMatchStdVector)
{
    EXPECT_EQ(RunRandomSteps(1, 400, false), 0);
}

TEST_F(Cmn_PolyVectorLifetime, ThrowingCopiesNeverLeakOrDoubleDestroy)
{
    EXPECT_GT(RunRandomSteps(7919, 300, true), 100); // really ran through the failure paths
}

TEST_F(Cmn_PolyVectorLifetime, ReallocationFailureLeavesVectorUnchanged)
{
    // Walk the failing copy over every copy that a growing insert and a reserve make.
    for (int n = 1; n <= 12; ++n)
    {
        TVec vec;
        for (int i = 0; i < 5; ++i)
            vec.push_back(Tracked(i));
        const Tracked* oldData = vec.data();
        const size_t oldCap = vec.capacity();
        const std::vector<int> before = Values(vec);
        Tracked extra(100);
        Tracked::sCopiesUntilThrow = n;
        try
        {
            vec.insert(vec.begin() + 2, oldCap, extra); // must reallocate
            EXPECT_GT(n, static_cast<int>(oldCap + 5)) << "the insert made fewer copies";
        }
        catch (const std::runtime_error&)
        {
            EXPECT_EQ(Values(vec), before) << "insert, copy " << n;
            EXPECT_EQ(vec.data(), oldData);
            EXPECT_EQ(vec.capacity(), oldCap);
        }

        TVec other;
        for (int i = 0; i < 6; ++i)
            other.push_back(Tracked(i));
        const std::vector<int> otherBefore = Values(other);
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
        // Erasing, resizing and assigning are walked by the random operations above.
        TVec vec(2, Tracked(3));
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
    EXPECT_TRUE(Test_ThrowsL10N([&] { vec.at(3); }, 7, 10));
    EXPECT_NE(ThrownText([&] { vec.at(3); }).find("out_of_range: Cmn_PolyVectorImpl::At"),
              std::string::npos);
    const Cmn_PolyVector<int>& constVec = vec;
    EXPECT_TRUE(Test_ThrowsL10N([&] { constVec.at(size_t(-1)); }, 7, 10));
    EXPECT_TRUE(Test_ThrowsL10N([] { Cmn_PolyVector<int>().at(0); }, 7, 10));
}

TEST(Cmn_PolyVector, GrowsAndKeepsElementsOfOtherTypes)
{
    Cmn_PolyVector<std::string> strings;
    std::vector<std::string> expected;
    for (int i = 0; i < 100; ++i)
    {
        strings.insert(strings.begin() + i / 2, std::string(static_cast<size_t>(i), 'x'));
        expected.insert(expected.begin() + i / 2, std::string(static_cast<size_t>(i), 'x'));
    }
    EXPECT_EQ(std::vector<std::string>(strings.begin(), strings.end()), expected);

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
    auto text = [&] { return std::string(bytes.begin(), bytes.end()); };
    // {position, what to write, contents after}
    const std::tuple<int64_t, std::string, std::string> steps[] = {
        {0, "abcd", "abcd"},
        {2, "WXYZ", "abWXYZ"},                      // straddles the end
        {1, "q", "aqWXYZ"},                         // wholly inside: nothing grows
        {9, "!", std::string("aqWXYZ\0\0\0!", 10)}, // past the end: the gap reads as 0
        {10, "", std::string("aqWXYZ\0\0\0!", 10)},
    };
    for (const auto& [pos, write, after] : steps)
    {
        out.SetPos(pos);
        out.Write(write.data(), static_cast<int32_t>(write.size()));
        EXPECT_EQ(text(), after) << write;
        EXPECT_EQ(out.GetPos(), pos + static_cast<int64_t>(write.size()));
        EXPECT_EQ(out.GetEndPos(), static_cast<int64_t>(after.size()));
    }
    EXPECT_TRUE(Test_Asserts([&] { out.SetPos(-1); }, "iPos >= 0"));
}

TEST(Cmn_PolyVectorInStream, ReadsTheVectorInPlaceAndFollowsItOnSync)
{
    Cmn_PolyVector<unsigned char> bytes;
    for (unsigned char c : std::string("hello world"))
        bytes.push_back(c);
    Cmn_PolyVectorInStream in(bytes);
    EXPECT_EQ(in.GetBegin(), bytes.data()); // no copy
    EXPECT_EQ(in.GetEndPos(), 11);
    char buffer[9] = {};
    in.Read(buffer, 5);
    EXPECT_STREQ(buffer, "hello");
    EXPECT_TRUE(Test_ThrowsL10N([&] { in.Read(buffer, 7); }, 7, 8)); // only 6 left
    EXPECT_EQ(in.GetPos(), 5);

    // After the vector moves, Sync follows it and keeps the position.
    bytes.reserve(1000);
    Cmn_PolyVectorOutStream out(&bytes);
    out.SetPos(11);
    out.Write("!!", 2);
    in.Sync();
    EXPECT_EQ(in.GetBegin(), bytes.data());
    EXPECT_EQ(in.GetPos(), 5);
    in.Read(buffer, 8);
    EXPECT_EQ(std::string(buffer, 8), " world!!");
}
