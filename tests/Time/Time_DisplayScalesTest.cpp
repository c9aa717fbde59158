#include <gtest/gtest.h>

#include <array>
#include <tuple>

#include "Cmn_Exception.h"
#include "Support/TimeTestSupport.h"
#include "Time/Time_AllTypesRange.h"
#include "Time/Time_FeetFrame.h"
#include "Time/Time_Globals.h"
#include "Time/Time_LoopMapper.h"
#include "Time/Time_MinSec.h"
#include "Time/Time_Pixels.h"

using Time_FeetFrameTest = Time_StaticsFixture;
using Time_MinSecTest = Time_StaticsFixture;
using Time_GlobalsTest = Time_StaticsFixture;
using Time_PixelsTest = Time_StaticsFixture;

// ---- Time_FeetFrame ------------------------------------------------------------------------

TEST_F(Time_FeetFrameTest, OrderingAndArithmeticAroundTheRollover)
{
    const Time_FeetFrame one(0, 1, 0), two(0, 2, 0);
    EXPECT_TRUE(one > two && !(one < two) && two >= one);
    // Above half a rollover the left side counts as before zero; the right side only below.
    const Time_FeetFrame late(60000, 0, 0), later(70000, 0, 0);
    EXPECT_TRUE(late > one);    // -64,000,000 against -159,999,900
    EXPECT_TRUE(late < later);  // -64,000,000 against 112,000,000
    EXPECT_FALSE(later > late); // -48,000,000 against 96,000,000: not the mirror
    EXPECT_TRUE(one == Time_FeetFrame(0, 1, 0));
    EXPECT_TRUE(one != two);

    // Addition and subtraction wrap at the rollover.
    EXPECT_EQ(Time_FeetFrame(99999, 15, 99) + Time_FeetFrame(0, 0, 1), Time_FeetFrame(0, 0, 0));
    EXPECT_EQ(Time_FeetFrame(0, 0, 0) - Time_FeetFrame(0, 1, 0), Time_FeetFrame(99999, 15, 0));
    Time_FeetFrame value(10, 15, 50);
    value += Time_FeetFrame(0, 0, 60);
    EXPECT_EQ(value, Time_FeetFrame(11, 0, 10));
    value -= Time_FeetFrame(1, 0, 10);
    EXPECT_EQ(value, Time_FeetFrame(10, 0, 0));
}

TEST_F(Time_FeetFrameTest, TotalFramesWrapOnce)
{
    Time_FeetFrame value(1, 2, 33);
    value.SetFromTotalFrames(-1, false);
    EXPECT_EQ(value, Time_FeetFrame(99999, 15, 33));
    value.SetFromTotalFrames(Time_FeetFrame::kRolloverFrames + 17, true);
    EXPECT_EQ(value, Time_FeetFrame(1, 1, 0));
    int32_t parts[3] = {};
    Time_FeetFrame::TotalSubframesToFeetFramesSubframes(
        Time_FeetFrame::FeetFramesSubframesToTotalSubframes(123, 4, 56), parts[0], parts[1],
        parts[2]);
    EXPECT_EQ(std::vector<int32_t>(parts, parts + 3), (std::vector<int32_t>{123, 4, 56}));
}

TEST_F(Time_FeetFrameTest, SamplesAtTheSubframeRate)
{
    Time_Globals::SetSampleRate(48000.0);
    // 24 frames at 24 and 23.976 (48,048 samples there), 25 at 25 fps.
    for (auto [rate, samples, frames] : {std::tuple(Time_FeetFrame::eFeetFramesRate_24, 48000, 8),
                                         {Time_FeetFrame::eFeetFramesRate_25, 48000, 9},
                                         {Time_FeetFrame::eFeetFramesRate_23976, 48048, 8}})
    {
        Time_FeetFrame::SetGlobalFeetFramesRate(rate);
        Time_FeetFrame value;
        value.SetFromTotalSamples(Time_Sample(samples));
        EXPECT_EQ(value, Time_FeetFrame(1, frames, 0)) << rate;
        EXPECT_EQ(value.GetSamples().AsInt64(), samples) << rate;
    }
    EXPECT_EQ(Time_FeetFrame(99999, 15, 99).GetSamples().AsInt64(), 0x7FFFFFFF); // pinned
}

TEST_F(Time_FeetFrameTest, SessionOffsetAndWrapBeforeTheStart)
{
    Time_Globals::SetSampleRate(48000.0);
    Time_FeetFrame::SetFrameOffset(Time_Sample(48000));
    Time_FeetFrame value;
    value.SetFromSamplesFromStartFrame(Time_Sample(0));
    EXPECT_EQ(value, Time_FeetFrame(1, 8, 0));
    EXPECT_EQ(value.GetSamplesFromStartFrame().AsInt64(), 0);
    // Before the start the count wraps up by a rollover; -2400 subframes round toward zero
    // to -2399 on the way (add 0.5, truncate).
    value.SetFromSamplesFromStartFrame(Time_Sample(-96000));
    EXPECT_EQ(value, Time_FeetFrame(99998, 8, 1));
    EXPECT_EQ(value.GetSamplesFromStartFrame().AsInt64(), -95979);
    value.SetFromSamplesFromStartFrame(Time_Sample(-48000 + 20));
    EXPECT_EQ(value, Time_FeetFrame(0, 0, 1));
    value = Time_FeetFrame(2, 0, 0);
    EXPECT_EQ(value.GetFramesFromStartFrame(), 8);
    value.SetFromFramesFromStartFrame(-24);
    EXPECT_EQ(value, Time_FeetFrame(0, 0, 0));
}

TEST_F(Time_FeetFrameTest, TextPinsAndReadsFixedColumns)
{
    EXPECT_EQ(Time_FeetFrame(12, 3, 7).ToString(true, true), "   12+03.07");
    EXPECT_EQ(Time_FeetFrame(12, 3, 7).ToString(false, false), "12+03");
    EXPECT_EQ(Time_FeetFrame(-4, 40, 150).ToString(true, false), "0+30.99");
    Time_FeetFrame value(1, 1, 1);
    value.FromString("   12+03.07");
    EXPECT_EQ(value, Time_FeetFrame(12, 3, 7));
    value.FromString("   12+03");
    EXPECT_EQ(value, Time_FeetFrame(12, 3, 0));
    value.FromString("");
    EXPECT_EQ(value, Time_FeetFrame(0, 0, 0));
}

// ---- Time_MinSec ---------------------------------------------------------------------------

TEST_F(Time_MinSecTest, MinutesStayAtMostEightHundredAndReconcileStopsAtZero)
{
    EXPECT_EQ(Time_MinSec(800, 59, 999) + Time_MinSec(1, 0, 0), Time_MinSec(800, 59, 999));
    EXPECT_EQ(Time_MinSec(0, 0, 900) + Time_MinSec(0, 59, 200), Time_MinSec(1, 0, 100));
    // Reconciling borrows and stops at zero.
    EXPECT_EQ(Time_MinSec(1, 0, -1), Time_MinSec(0, 59, 999));
    EXPECT_EQ(Time_MinSec(0, 1, 0) - Time_MinSec(0, 2, 0), Time_MinSec(0, 0, 0));
    Time_MinSec value(2, 30, 0);
    value -= Time_MinSec(0, 45, 500);
    EXPECT_EQ(value, Time_MinSec(1, 44, 500));
    EXPECT_LT(Time_MinSec(1, 44, 499), value);
}

TEST_F(Time_MinSecTest, SamplesAtThePullRate)
{
    Time_Globals::SetSampleRate(44100.0);
    Time_MinSec value;
    value.SetFromSamples(Time_Sample(2712150)); // 61.5 s
    EXPECT_EQ(value, Time_MinSec(1, 1, 500));
    EXPECT_EQ(value.GetSamples().AsInt64(), 2712150);
    value.SetFromSamples(Time_Sample(-44100));
    EXPECT_EQ(value, Time_MinSec(0, 0, 0));
    Time_Globals::SetPullFactor(Time_Globals::ePullMedia_Audio, Time_Globals::ePullType_FourPercent,
                                Time_Globals::ePullFactor_Down);
    value.SetFromSamples(Time_Sample(42336)); // one second at 44100 x 0.96
    EXPECT_EQ(value, Time_MinSec(0, 1, 0));
}

TEST_F(Time_MinSecTest, Text)
{
    EXPECT_EQ(Time_MinSec(1, 2, 30).ToString(true), "  1:02.030");
    EXPECT_EQ(Time_MinSec(1, 2, 30).ToString(false), "1:02.030");
    Time_MinSec value;
    value.FromString("  1:02.030");
    EXPECT_EQ(value, Time_MinSec(1, 2, 30));
    value.FromString("999:99.999");
    EXPECT_EQ(value.GetMinutes(), 800);
    value.FromString("??");
    EXPECT_EQ(value, Time_MinSec(0, 0, 0));
}

// ---- Time_Globals --------------------------------------------------------------------------

TEST_F(Time_GlobalsTest, PullFactorsComboTableAndTexts)
{
    using G = Time_Globals;
    EXPECT_EQ(G::GetPullFactor(G::ePullMedia_Audio, G::ePullType_PointOnePercent),
              G::ePullFactor_None);
    for (auto media : {G::ePullMedia_Audio, G::ePullMedia_Video})
    {
        G::SetPullFactor(media, G::ePullType_PointOnePercent, G::ePullFactor_Down);
        G::SetPullFactor(media, G::ePullType_FourPercent, G::ePullFactor_Up);
    }
    EXPECT_DOUBLE_EQ(G::AdjustForPullFactors(G::ePullMedia_Audio, 48000.0),
                     48000.0 * 0.9990009990009991 * 1.0416666666666667);
    EXPECT_DOUBLE_EQ(G::AdjustForPullFactors(G::ePullMedia_Video, 30.0), 30.0 * 1.001 * 0.96);
    EXPECT_DOUBLE_EQ(G::AdjustForPullFactors(7, 30.0), 30.0);
    G::SetSampleRate(48000.0);
    EXPECT_DOUBLE_EQ(G::GetPullSampleRate(), 48000.0 * 0.9990009990009991 * 1.0416666666666667);
    EXPECT_THROW(G::GetPullFactor(static_cast<G::EPullMedia>(2), G::ePullType_FourPercent),
                 Cmn_AssertException);
    const char* texts[] = {
        "None",          "0.1% Down",          "0.1% Up",          "4% Down",
        "4% Up",         "4% Down, 0.1% Down", "4% Down, 0.1% Up", "4% Up, 0.1% Down",
        "4% Up, 0.1% Up"};
    for (int32_t combo = 0; combo < G::eComboPullFactor_Count; ++combo)
    {
        const auto c = static_cast<G::EComboPullFactor>(combo);
        G::EPullFactor f01 = G::ePullFactor_None, f4 = G::ePullFactor_None;
        G::ComboToPullFactors(c, &f01, &f4);
        EXPECT_EQ(G::GetComboPullFactor(f01, f4), c);
        EXPECT_EQ(G::GetComboString(c, false), texts[combo]);
    }
    const std::pair<G::EComboPullFactor, const char*> longTexts[] = {
        {G::eComboPullFactor_None, "None"},
        {G::eComboPullFactor_PointOneDown, "0.1% Down [24/30 fps - FILM To NTSC]"},
        {G::eComboPullFactor_FourDownPointOneUp, "4% Down, 0.1% Up [Invalid]"},
        {G::eComboPullFactor_FourUpPointOneUp, "4% Up, 0.1% Up [29.97 fps - NTSC To PAL]"}};
    for (auto [combo, text] : longTexts)
        EXPECT_EQ(G::GetComboString(combo, true), text);
    EXPECT_EQ(G::GetPullFactorString(G::ePullFactor_Up), "Pull Up");
    EXPECT_EQ(G::GetPullFactorString(G::ePullFactor_Down), "Pull Down");
}

TEST_F(Time_GlobalsTest, RoutingBetweenVideoFormatsAndSampleRateGuard)
{
    using G = Time_Globals;
    const std::tuple<G::EVideoFormat, G::EVideoFormat, int32_t> routes[] = {
        {G::eVideoFormat_NTSC, G::eVideoFormat_Film, 2},
        {G::eVideoFormat_NTSC, G::eVideoFormat_PAL, 8},
        {G::eVideoFormat_Film, G::eVideoFormat_NTSC, 1},
        {G::eVideoFormat_Film, G::eVideoFormat_PAL, 4},
        {G::eVideoFormat_PAL, G::eVideoFormat_NTSC, 5},
        {G::eVideoFormat_PAL, G::eVideoFormat_Film, 3},
        {G::eVideoFormat_PAL, G::eVideoFormat_PAL, 0}};
    for (const auto& [from, to, combo] : routes)
        EXPECT_EQ(G::GetRoutingComboFactor(from, to), combo) << from << to;

    // The sample-rate guard restores the rate.
    Time_Globals::SetSampleRate(44100.0);
    {
        Time_Globals::StSampleRate guard(96000.0);
        EXPECT_DOUBLE_EQ(Time_Globals::GetSampleRate(), 96000.0);
    }
    EXPECT_DOUBLE_EQ(Time_Globals::GetSampleRate(), 44100.0);
}

// ---- Time_LoopMapper -----------------------------------------------------------------------

TEST(Time_LoopMapperTest, MapsBetweenLocalAndElapsedTime)
{
    auto at = [](int64_t iSample) { return Time_Typed(Time_Sample(iSample)); };
    const Time_LoopMapper loop(at(100), at(150));
    EXPECT_EQ(loop.LocalToElapsedTime(at(50), 3), at(50));
    EXPECT_EQ(loop.LocalToElapsedTime(at(120), 2), at(220));
    EXPECT_EQ(loop.GetLoopOffset(4), at(200));
    // {loop end, elapsed, local, count}; a loop of no length never repeats
    for (auto [end, elapsed, local, loops] :
         {std::array<int64_t, 4>{150, 260, 110, 3}, {150, 140, 140, 0}, {100, 500, 500, 0}})
    {
        int32_t count = -1;
        EXPECT_EQ(Time_LoopMapper(at(100), at(end)).ElapsedToLocalTime(&count, at(elapsed)),
                  at(local))
            << elapsed;
        EXPECT_EQ(count, loops) << elapsed;
    }
    EXPECT_EQ(loop.ElapsedToLocalTime(nullptr, at(150)), at(100));
}

// ---- Time_AllTypesRange --------------------------------------------------------------------

namespace
{
// Stands in for a tempo map: two samples to a tick.
struct FakeTempoMap
{
    Time_Typed TimeTypedToSpecifiedType(const Time_Typed& iTime, Time_EType iType) const
    {
        if (iTime.GetType() == iType)
            return iTime;
        return iType == Time_eType_Ticks ? Time_Typed(iTime.AsInt64() / 2, iType)
                                         : Time_Typed(iTime.AsInt64() * 2, iType);
    }
};
} // namespace

TEST(Time_AllTypesRangeTest, EachValueGoesToItsOwnSlot)
{
    Time_AllTypesRange range(Time_Typed(Time_Sample(10)), Time_Typed(Time_Sample(50)));
    range.SetBegin(Time_Typed(Time_Tick(7)));
    range.SetEnd(Time_Typed(Time_Tick(9)));
    EXPECT_EQ(range.GetBegin(Time_eType_Samples), Time_Typed(Time_Sample(10)));
    EXPECT_EQ(range.GetLength(Time_eType_Samples), Time_TypedLength(40, Time_eType_Samples));
    EXPECT_EQ(range.GetLength(Time_eType_Ticks), Time_TypedLength(2, Time_eType_Ticks));
    EXPECT_EQ(range.GetBegin(Time_eType_Frames), Time_Typed(0, Time_eType_Frames));
    EXPECT_THROW(range.GetEnd(static_cast<Time_EType>(5)), Cmn_AssertException);

    const Time_AllTypesRange mapped(Time_Typed(Time_Sample(10)), Time_Typed(Time_Sample(50)),
                                    FakeTempoMap());
    EXPECT_EQ(mapped.GetBegin(Time_eType_Ticks), Time_Typed(Time_Tick(5)));
    EXPECT_EQ(mapped.GetEnd(Time_eType_Ticks), Time_Typed(Time_Tick(25)));
    EXPECT_EQ(mapped.GetEnd(Time_eType_Samples), Time_Typed(Time_Sample(50)));
}

// ---- Time_Pixels ---------------------------------------------------------------------------

namespace
{
class PixelsProbe : public Time_Pixels
{
public:
    using Time_Pixels::Cached;
    using Time_Pixels::LookUpPixel;
    void SetBoundaries(std::vector<int64_t> iBoundaries)
    {
        mCachedPixelBoundaries = std::move(iBoundaries);
    }
};
} // namespace

TEST_F(Time_PixelsTest, LinearSampleScaleRoundsAndClamps)
{
    Time_Pixels pixels;
    EXPECT_DOUBLE_EQ(pixels.GetSamplesPerPixel(), 8192.0);
    // 1.5 + 0.5; -1.5 + 0.5, toward zero
    for (auto [sample, pixel] : {std::pair{12288, 2}, {12287, 1}, {-12288, -1}})
        EXPECT_EQ(pixels.SampleToPixel(Time_Sample(sample)), pixel) << sample;
    EXPECT_EQ(pixels.PixelToSample(3).AsInt64(), 24576);
    pixels.SetSamplesPerPixel(0.001);
    EXPECT_EQ(pixels.SampleToPixel(Time_Sample(int64_t(1) << 40)), INT32_MAX);
    EXPECT_EQ(pixels.SampleToPixel(Time_Sample(-(int64_t(1) << 40))), INT32_MIN);
    EXPECT_EQ(pixels.TimeTypedToPixel(Time_Typed(Time_Sample(0))), 0);
}

TEST_F(Time_PixelsTest, LinearTickScaleStartsAtTheOriginWithoutTempoMap)
{
    Time_Pixels pixels;
    pixels.SetLinearType(Time_eType_Ticks);
    EXPECT_EQ(pixels.GetFirstTick().AsInt64(), Time_cDefaultOriginTick);
    EXPECT_EQ(pixels.TickToPixel(Time_Tick(Time_cDefaultOriginTick + 45000)), 2);
    EXPECT_EQ(pixels.PixelToTick(2).AsInt64(), Time_cDefaultOriginTick + 60000);
    EXPECT_EQ(pixels.PixelToTimeTyped(1, Time_eType_Ticks),
              Time_Typed(Time_Tick(Time_cDefaultOriginTick + 30000)));
    // The other scale needs the tempo map.
    EXPECT_THROW(pixels.SampleToPixel(Time_Sample(5)), Cmn_AssertException);
}

TEST_F(Time_PixelsTest, FirstTickAlignmentCacheBoundsAndLookUp)
{
    const Time_Tick origin(Time_cDefaultOriginTick);
    for (auto [first, aligned] : {std::pair{100000, -20000}, {90000, 0}, {0, 0}})
        EXPECT_EQ(Time_Pixels::ComputeFirstTick(origin + Time_Tick(first), origin, 30000.0),
                  origin + Time_Tick(aligned));
    PixelsProbe pixels;
    EXPECT_EQ(pixels.GetFirstCachePixel(), -1);
    EXPECT_FALSE(pixels.Cached(0)); // empty range: straight to the tempo map
    pixels.SetCachePixelBounds(-5, -2);
    EXPECT_EQ(pixels.GetFirstCachePixel(), 0);
    EXPECT_EQ(pixels.GetLastCachePixel(), 0);
    EXPECT_FALSE(pixels.Cached(0));
    pixels.SetCachePixelBounds(10, 13);
    pixels.SetBoundaries({100, 200, 300});
    for (auto [sample, pixel] : {std::pair{50, 10}, {100, 11}, {299, 12}, {300, 13}})
        EXPECT_EQ(pixels.LookUpPixel(sample), pixel) << sample;
    pixels.SetSamplesPerPixel(100.0);
    EXPECT_FALSE(pixels.IsCacheValid());
}

TEST_F(Time_PixelsTest, GuardPublishesTheCurrentInstance)
{
    Time_Pixels outer, inner;
    EXPECT_EQ(StInitTimePixels::GetTimePixels(), nullptr);
    {
        StInitTimePixels a(&outer);
        {
            StInitTimePixels b(&inner);
            EXPECT_EQ(StInitTimePixels::GetTimePixels(), &inner);
        }
        EXPECT_EQ(StInitTimePixels::GetTimePixels(), &outer);
    }
    EXPECT_EQ(StInitTimePixels::GetTimePixels(), nullptr);
}
