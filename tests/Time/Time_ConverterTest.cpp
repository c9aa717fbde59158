// Time_Converter and Time_Convert, the tempo map's typed conversions, and Time_Pixels over a
// tempo map.
#include <gtest/gtest.h>

#include <tuple>

#include "Support/TestSupport.h"
#include "Support/TimeTestSupport.h"
#include "Time/Time_Converter.h"
#include "Time/Time_MeterMap.h"
#include "Time/Time_Pixels.h"
#include "Time/Time_TempoMap.h"

namespace
{
constexpr int64_t kOrigin = Time_cDefaultOriginTick;
constexpr int64_t kQ = Time_cInternalTicksPerQuarterNote;

Time_Tick At(int64_t iOffset)
{
    return Time_Tick(kOrigin + iOffset);
}

// At 48 kHz: 120 bpm from the origin (sample 0), 60 bpm from the fifth quarter note, so a
// quarter note is 24,000 samples and then 48,000; 4/4, then 3/4 from bar 2.
struct Session
{
    Session()
    {
        tempo.SetSampleRate(48000.0);
        {
            Time_TempoMap_StEditOptimizer edit(tempo);
            auto first = std::make_unique<Time_ConstantTempoSeg>(At(0), 120.0, Time_Tick(kQ));
            first->LockToSample(Time_Sample(0));
            tempo.AddSegment(std::move(first));
            tempo.AddSegment(
                std::make_unique<Time_ConstantTempoSeg>(At(4 * kQ), 60.0, Time_Tick(kQ)));
            tempo.EnsureSongStart();
        }
        meter.AddMeterChange(At(4 * kQ), Time_Meter(3, 4));
        Time_Convert::SetTimeConverter(&converter);
    }
    ~Session() { Time_Convert::SetTimeConverter(nullptr); }
    Time_TempoMap tempo;
    Time_MeterMap meter;
    Time_Converter converter{&tempo, &meter, Time_eType_Samples};
};

using Time_ConverterTest = Time_StaticsFixture;

std::string Show(const Time_BarBeatTick& iBBT)
{
    return std::to_string(iBBT.mBar) + "|" + std::to_string(iBBT.mBeat) + "|" +
           std::to_string(iBBT.mTick.AsInt64());
}
} // namespace

TEST_F(Time_ConverterTest, EveryTypeIntoEveryOther)
{
    Session s;
    // {samples, ticks from the origin, bars and beats}
    const std::tuple<int64_t, int64_t, Time_BarBeatTick> rows[] = {
        {0, 0, {1, 1, Time_Tick(0)}},           {12000, kQ / 2, {1, 1, Time_Tick(kQ / 2)}},
        {96000, 4 * kQ, {2, 1, Time_Tick(0)}},  // the tempo and meter change
        {144000, 5 * kQ, {2, 2, Time_Tick(0)}}, // a quarter at 60 bpm
        {240000, 7 * kQ, {3, 1, Time_Tick(0)}}, // bar 2 has three beats
    };
    for (const auto& [sampleCount, tickCount, bbt] : rows)
    {
        const Time_Typed samples{Time_Sample(sampleCount)}, ticks{At(tickCount)};
        for (const Time_Typed& from : {samples, ticks})
        {
            const std::string what =
                std::to_string(from.AsInt64()) + " of type " + std::to_string(from.GetType());
            EXPECT_EQ(s.converter.ToType(from, Time_eType_Samples), samples) << what;
            EXPECT_EQ(s.converter.ToType(from, Time_eType_Ticks), ticks) << what;
            EXPECT_EQ(s.converter.ToFirstType(from, Time_eType_Ticks).GetType(), Time_eType_Ticks);
            EXPECT_EQ(Show(Time_Convert::ToBarBeatTick(from)), Show(bbt)) << what;
            EXPECT_EQ(Time_Convert::ToSample(from), samples.AsSample()) << what;
            EXPECT_EQ(Time_Convert::ToTick(from), ticks.AsTick()) << what;
        }
        for (Time_EType type : {Time_eType_Samples, Time_eType_Ticks})
            EXPECT_EQ(Time_Convert::ToType(bbt, type), type ? ticks : samples) << Show(bbt);
        EXPECT_EQ(s.tempo.TimeTypedToSpecifiedType(samples, Time_eType_Ticks), ticks);
        EXPECT_EQ(s.tempo.TimeTypedToSpecifiedType(ticks, Time_eType_Samples), samples);
        EXPECT_EQ(s.tempo.TimeTypedToTick(samples), ticks.AsTick());
        EXPECT_EQ(s.tempo.TimeTypedToSample(ticks), samples.AsSample());
    }
    EXPECT_EQ(Time_Convert::GetBarOneTime(Time_eType_Samples), Time_Typed(Time_Sample(0)));
    EXPECT_EQ(Time_Convert::GetSessionStartTime(Time_eType_Ticks), Time_Typed(At(0)));
    EXPECT_EQ(Time_Convert::GetSessionEndTime(Time_eType_Samples),
              Time_Typed(Time_Sample(Time_cMaxSampleTime)));
    EXPECT_EQ(Time_Convert::ToMainCounterType(At(4 * kQ)), Time_Typed(Time_Sample(96000)));
    // The first tick of a sample rounds to it; the plain one may lie after it.
    const Time_Tick first = Time_Convert::ToFirstType(Time_Sample(1), Time_eType_Ticks).AsTick();
    EXPECT_EQ(s.tempo.TickToSample(first), Time_Sample(1));
    EXPECT_EQ(s.tempo.TickToSample(first - Time_Tick(1)), Time_Sample(0));
}

TEST_F(Time_ConverterTest, LengthsAreMeasuredInTheirOwnScale)
{
    Session s;
    const Time_Typed at{Time_Sample(72000)}; // the fourth quarter note, at 120 bpm
    const Time_TypedLength twoQuarters{Time_Tick(2 * kQ)};
    // one quarter at 120 bpm and one at 60
    EXPECT_EQ(Time_Convert::AddLength(at, twoQuarters), Time_Typed(Time_Sample(144000)));
    EXPECT_EQ(Time_Convert::SubtractLength(Time_Typed(Time_Sample(144000)), twoQuarters), at);
    EXPECT_EQ(Time_Convert::AddLength(at, Time_BarBeatTick(0, 2, Time_Tick(0))),
              Time_Typed(Time_Sample(144000)));
    EXPECT_EQ(
        Time_Convert::SubtractLength(Time_Typed(At(7 * kQ)), Time_BarBeatTick(1, 0, Time_Tick(0))),
        Time_Typed(At(4 * kQ)));
    EXPECT_EQ(Time_Convert::AddLength(at, Time_TypedLength(Time_Sample(100))),
              Time_Typed(Time_Sample(72100)));
    // A zero length and a value of its own type never reach the maps.
    Time_Converter none;
    const Time_Typed odd{At(7)};
    EXPECT_EQ(none.AddLength(odd, Time_TypedLength(Time_Sample(0))), odd);
    EXPECT_EQ(none.ToType(odd, Time_eType_Ticks), odd);
    EXPECT_TRUE(Test_Asserts([&] { none.ToType(odd, Time_eType_Samples); }, "mTempoMap != 0"));
    EXPECT_TRUE(
        Test_Asserts([&] { Time_Converter(&s.tempo).ToBarBeatTick(odd); }, "mMeterMap != 0"));
    EXPECT_TRUE(Test_Asserts([&] { s.converter.ToType(odd, Time_eType_Frames); }, "0"));
    EXPECT_TRUE(
        Test_Asserts([&] { s.converter.ToSample(Time_Typed(5, Time_eType_Frames)); }, "false"));
    EXPECT_TRUE(
        Test_Asserts([&] { s.tempo.TickToSpecifiedType(At(0), Time_eType_Frames); }, "false"));
}

TEST_F(Time_ConverterTest, SnapsPinsAndStaticFace)
{
    {
        Session s;
        const std::tuple<const char*, Time_Typed (*)(const Time_Typed&), Time_Typed, Time_Typed>
            rows[] = {
                // 40 ticks to a sample at 120 bpm and 48 kHz
                {"display snap keeps the round tick", Time_Convert::ToTickTimeWithDisplaySnap,
                 Time_Typed(Time_Sample(24000)), Time_Typed(At(kQ))},
                {"display snap of a sample between display ticks",
                 Time_Convert::ToTickTimeWithDisplaySnap, Time_Typed(Time_Sample(1)),
                 Time_Typed(At(40))},
                {"display snap of ticks", Time_Convert::ToTickTimeWithDisplaySnap,
                 Time_Typed(At(7)), Time_Typed(At(7))},
                {"snap on the same sample", Time_Convert::SnapToDisplayTick, Time_Typed(At(1010)),
                 Time_Typed(At(1000))},
                {"no snap across a sample", Time_Convert::SnapToDisplayTick, Time_Typed(At(1040)),
                 Time_Typed(At(1040))},
                {"snap leaves samples", Time_Convert::SnapToDisplayTick, Time_Typed(Time_Sample(3)),
                 Time_Typed(Time_Sample(3))},
                {"quantize", Time_Convert::QuantizeToSample, Time_Typed(At(1010)),
                 Time_Typed(At(1000))},
                {"tick boundary below", Time_Convert::AdjustToTickBoundary,
                 Time_Typed(Time_Tick(1519)), Time_Typed(Time_Tick(1000))},
                {"tick boundary above", Time_Convert::AdjustToTickBoundary,
                 Time_Typed(Time_Tick(1520)), Time_Typed(Time_Tick(2000))},
            };
        for (const auto& [name, op, in, out] : rows)
            EXPECT_EQ(op(in), out) << name;

        const std::tuple<Time_Typed, Time_Typed, bool> pins[] = {
            {Time_Typed(Time_Sample(-5)), Time_Typed(Time_Sample(0)), true},
            {Time_Typed(Time_Sample(0x80000000LL)), Time_Typed(Time_Sample(Time_cMaxSampleTime)),
             true},
            {Time_Typed(At(-100)), Time_Typed(At(0)), true},
            {Time_Typed(At(5)), Time_Typed(At(5)), false},
        };
        for (const auto& [in, out, changed] : pins)
        {
            Time_Typed value = in;
            EXPECT_EQ(Time_Convert::PinToValidSessionRange(value), changed) << in.AsInt64();
            EXPECT_EQ(value, out) << in.AsInt64();
        }
        EXPECT_EQ(Time_Convert::GetMainCounterType(), Time_eType_Samples);
    }
    EXPECT_TRUE(Test_Asserts([] { Time_Convert::ToTick(Time_Sample(0)); }, "sTimeConverter != 0"));
}

TEST_F(Time_ConverterTest, ReferenceTempoAndTempoRange)
{
    Session s;
    Time_TempoMap& map = s.tempo;
    // The rates of the reference's segment, even outside it.
    EXPECT_EQ(map.TickToSampleBasedOnReferenceTempoAtTick(At(6 * kQ), At(0)), Time_Sample(144000));
    EXPECT_EQ(map.TickToSample(At(6 * kQ)), Time_Sample(192000));
    EXPECT_EQ(map.SampleToTickBasedOnReferenceTempoAtTick(Time_Sample(192000), At(5 * kQ)),
              At(6 * kQ));
    EXPECT_EQ(
        map.SampleToTickBasedOnReferenceTempoAtSample(Time_Sample(48000), Time_Sample(200000)),
        At(3 * kQ));
    EXPECT_DOUBLE_EQ(map.GetMaxTicksPerSample(At(0), At(8 * kQ)), 40.0);
    EXPECT_DOUBLE_EQ(map.GetMinTicksPerSample(At(0), At(8 * kQ)), 20.0);
    EXPECT_DOUBLE_EQ(map.GetMinTicksPerSample(At(0), At(4 * kQ)), 40.0); // up to the change
    EXPECT_DOUBLE_EQ(map.GetMaxTicksPerSample(At(5 * kQ), At(8 * kQ)), 20.0);
}

// The cache of the pixels between the bounds answers as the tempo map does without it.
TEST_F(Time_ConverterTest, PixelsThroughTheTempoMapMatchWithAndWithoutCache)
{
    Session s;
    for (Time_EType linear : {Time_eType_Samples, Time_eType_Ticks})
    {
        Time_Pixels cached(&s.tempo, &s.meter), direct(&s.tempo, &s.meter);
        for (Time_Pixels* p : {&cached, &direct})
        {
            p->SetLinearType(linear);
            p->SetSamplesPerPixel(1000.0);
            p->SetTicksPerPixel(30000.0);
        }
        cached.SetCachePixelBounds(0, 400);
        for (int32_t pixel = -3; pixel <= 403; ++pixel)
        {
            ASSERT_EQ(cached.PixelToSample(pixel), direct.PixelToSample(pixel)) << pixel;
            ASSERT_EQ(cached.PixelToTick(pixel), direct.PixelToTick(pixel)) << pixel;
        }
        EXPECT_TRUE(cached.IsCacheValid());
        for (int64_t sample = 0; sample < 420000; sample += 97)
        {
            const Time_Tick tick = s.tempo.SampleToTick(Time_Sample(sample));
            ASSERT_EQ(cached.SampleToPixel(Time_Sample(sample)),
                      direct.SampleToPixel(Time_Sample(sample)))
                << sample;
            ASSERT_EQ(cached.TickToPixel(tick), direct.TickToPixel(tick)) << sample;
            ASSERT_EQ(cached.TickToPixel(tick + Time_Tick(17)),
                      direct.TickToPixel(tick + Time_Tick(17)))
                << sample;
        }
    }
    Time_Pixels pixels(&s.tempo, &s.meter);
    pixels.SetSamplesPerPixel(1000.0);
    EXPECT_EQ(pixels.BarBeatToPixel(Time_BarBeatTick(2, 1, Time_Tick(0))), 96);
    EXPECT_EQ(Show(pixels.PixelToBarBeat(144)), "2|2|0");
    EXPECT_EQ(pixels.AddTimeTypedLength(Time_Typed(Time_Sample(72000)),
                                        Time_TypedLength(Time_Tick(2 * kQ))),
              Time_Typed(Time_Sample(144000)));
    pixels.SetCachePixelBounds(0, 50); // samples below the tempo change
    EXPECT_DOUBLE_EQ(pixels.GetMaxTicksPerSample(), 40.0);
    EXPECT_DOUBLE_EQ(pixels.GetMinTicksPerSample(), 40.0);
    pixels.SetCachePixelBounds(0, 300);
    EXPECT_DOUBLE_EQ(pixels.GetMinTicksPerSample(), 20.0);
    Time_Pixels noMeter(&s.tempo);
    EXPECT_TRUE(Test_Asserts([&] { noMeter.PixelToBarBeat(0); }, "mMeterMapP != 0"));
}
