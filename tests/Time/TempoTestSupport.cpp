#include "TempoTestSupport.h"

#include <sstream>

#include "Support/SysTestSupport.h"
#include "Support/TimeTestSupport.h"

namespace TempoTest
{
Time_TempoMapSegment::Ptr Seg(int64_t iTick, double iBpm, int64_t iSample, bool iComputed)
{
    auto seg = std::make_unique<Time_ConstantTempoSeg>(T(iTick), iBpm, T(kBeat));
    if (iSample >= 0)
        seg->LockToSample(S(iSample));
    seg->SetIsComputed(iComputed);
    return seg;
}

Map::Map(std::vector<Time_TempoMapSegment::Ptr> iSegs)
{
    SetSampleRate(kRate);
    Time_TempoMap_StEditOptimizer edit(*this);
    for (auto& seg : iSegs)
        AddSegment(std::move(seg));
    EnsureSongStart();
}

Map::Map(const std::string& iText)
{
    SetSampleRate(kRate);
    Time_TempoMap_StEditOptimizer edit(*this);
    std::istringstream words(iText);
    std::string word;
    while (words >> word)
    {
        std::istringstream in(word);
        Time_Tick tick;
        if (in.peek() == '+')
        {
            int64_t ticks = 0;
            in.ignore(1);
            in >> ticks;
            tick = T(kOrigin + ticks);
        }
        else
        {
            double beats = 0;
            in >> beats;
            tick = B(beats);
        }
        in.ignore(1); // ':'
        auto seg = std::make_unique<Time_ConstantTempoSeg>(tick);
        if (in.peek() == '?')
        {
            in.ignore(1);
            seg->SetTempoIsUnspecified(true);
        }
        else
        {
            double bpm = 0;
            in >> bpm;
            seg->SetTempo(bpm, T(kBeat));
        }
        for (char c; in >> c;)
        {
            if (c == '@')
            {
                int64_t sample = 0;
                in >> sample;
                seg->LockToSample(S(sample));
            }
            else if (c == 'c')
                seg->SetIsComputed(true);
            else if (c == 's')
                seg->SetIsSongStart(true);
        }
        AddSegment(std::move(seg));
    }
    if (!iText.empty())
        EnsureSongStart();
}

double Map::BpmAt(int64_t iTick)
{
    double bpm = 0;
    Time_Tick perBeat;
    GetTempoAtTick(&bpm, &perBeat, T(iTick));
    return bpm;
}

const Time_ConstantTempoSeg& Map::At(size_t i)
{
    return static_cast<const Time_ConstantTempoSeg&>(*SegmentBegin()[i]);
}

std::string Describe(Time_TempoMap& iMap)
{
    std::ostringstream out;
    for (auto it = iMap.SegmentBegin(); it != iMap.SegmentEnd(); ++it)
    {
        const auto& seg = static_cast<const Time_ConstantTempoSeg&>(**it);
        const int64_t fromOrigin = seg.GetStartTick().AsInt64() - kOrigin;
        if (it != iMap.SegmentBegin())
            out << ' ';
        if (fromOrigin % kBeat == 0)
            out << fromOrigin / kBeat;
        else
            out << '+' << fromOrigin;
        out << ':';
        if (seg.GetTempoIsUnspecified())
            out << '?';
        else
            out << seg.GetBeatsPerMinute();
        if (seg.IsLockedToSample())
            out << '@' << seg.GetStartSample().AsInt64();
        if (seg.IsComputed())
            out << 'c';
        if (seg.IsSongStart())
            out << 's';
    }
    return out.str();
}

Bytes Save(const Time_TempoMap& iMap)
{
    Test_Out out;
    iMap.StreamOut(*out);
    return out.Get();
}

RandomMap::RandomMap(std::mt19937& ioRng, bool iIDB)
{
    Test_FillRandomTempoMap(*this, ioRng, iIDB, kRate);
}

testing::AssertionResult MapIsValid(Time_TempoMap& iMap)
{
    int songStarts = 0;
    auto begin = iMap.SegmentBegin(), end = iMap.SegmentEnd();
    auto lastLocked = end;
    int computedInSpan = 0;
    for (auto it = begin; it != end; ++it)
    {
        const Time_TempoMapSegment& seg = **it;
        if (it != begin && !((*(it - 1))->GetStartTick() < seg.GetStartTick()))
            return testing::AssertionFailure() << "ticks not rising: " << Describe(iMap);
        songStarts += seg.IsSongStart() && seg.IsLockedToSample();
        if (seg.IsLockedToSample())
        {
            if (lastLocked != end && computedInSpan != 1)
                return testing::AssertionFailure()
                       << computedInSpan << " computed between locked: " << Describe(iMap);
            if (lastLocked != end && !(seg.GetStartSample() > (*lastLocked)->GetStartSample()))
                return testing::AssertionFailure() << "locked samples: " << Describe(iMap);
            lastLocked = it;
            computedInSpan = 0;
        }
        if (seg.IsComputed())
        {
            if (lastLocked == end)
                return testing::AssertionFailure() << "computed before locked: " << Describe(iMap);
            ++computedInSpan;
        }
    }
    if (lastLocked != end && computedInSpan != 0)
        return testing::AssertionFailure() << "computed after the last locked: " << Describe(iMap);
    if (begin != end && songStarts != 1)
        return testing::AssertionFailure() << songStarts << " song starts: " << Describe(iMap);
    Time_Sample previous(INT64_MIN);
    for (auto it = begin; it != end; ++it)
    {
        const Time_Sample s = iMap.TickToSample((*it)->GetStartTick());
        if (s < previous)
            return testing::AssertionFailure() << "samples fall: " << Describe(iMap);
        previous = s;
    }
    if (!iMap.TryToAcquireReadLock())
        return testing::AssertionFailure() << "bracket left open or basic list dirty";
    iMap.ReleaseReadLock();
    return testing::AssertionSuccess();
}
} // namespace TempoTest
