#include "TempoTestSupport.h"

#include <algorithm>
#include <atomic>
#include <regex>
#include <sstream>
#include <thread>

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
    static const std::regex cWord(R"((\+?)(-?[0-9.]+):(\?|[0-9.]+)(@(-?[0-9]+))?(c?)(s?))");
    std::istringstream words(iText);
    std::smatch m;
    for (std::string word; words >> word;)
    {
        if (!std::regex_match(word, m, cWord))
        {
            ADD_FAILURE() << "not a segment: " << word;
            continue;
        }
        const double at = std::stod(m[2]);
        auto seg = std::make_unique<Time_ConstantTempoSeg>(
            m[1].length() ? T(kOrigin + static_cast<int64_t>(at)) : B(at));
        if (m[3] == "?")
            seg->SetTempoIsUnspecified(true);
        else
            seg->SetTempo(std::stod(m[3]), T(kBeat));
        if (m[4].matched)
            seg->LockToSample(S(std::stoll(m[5])));
        if (m[6].length())
            seg->SetIsComputed(true);
        if (m[7].length())
            seg->SetIsSongStart(true);
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
        const int64_t ticks = seg.GetStartTick().AsInt64() - kOrigin;
        out << (it == iMap.SegmentBegin() ? "" : " ")
            << (ticks % kBeat ? "+" + std::to_string(ticks) : std::to_string(ticks / kBeat)) << ':';
        if (seg.GetTempoIsUnspecified())
            out << '?';
        else
            out << seg.GetBeatsPerMinute();
        if (seg.IsLockedToSample())
            out << '@' << seg.GetStartSample().AsInt64();
        out << (seg.IsComputed() ? "c" : "") << (seg.IsSongStart() ? "s" : "");
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

int ReadsOutside(Time_TempoMap& iMap, Time_Tick iTick, std::vector<int64_t> iAllowed, int iRounds,
                 const std::function<void(int)>& iEdit)
{
    std::atomic<bool> done{false};
    std::atomic<int> reads{0}, bad{0};
    auto reader = [&]
    {
        while (!done)
        {
            if (!iMap.TryToAcquireReadLock())
                continue;
            const int64_t s = iMap.TickToSample(iTick).AsInt64();
            bad += std::find(iAllowed.begin(), iAllowed.end(), s) == iAllowed.end();
            ++reads;
            iMap.ReleaseReadLock();
        }
    };
    std::thread a(reader), b(reader);
    for (int i = 0; i < iRounds || reads < 100; ++i)
        iEdit(i);
    done = true;
    a.join();
    b.join();
    return bad;
}
} // namespace TempoTest
