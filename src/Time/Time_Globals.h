// Process-wide settings of the time scales: the session sample rate and the pull factors.
//
// Everything here is static. The settings are written on the main thread when a session
// opens and are read without locks by every conversion; nothing here is synchronised.
//
// A pull factor changes the speed at which audio (or video) runs against its nominal rate:
// the 0.1% factor (NTSC against film) and the 4% factor (PAL against film) may each be
// none, up or down. The pull rate, the sample rate every timecode, feet and minutes
// conversion works with, is AdjustForPullFactors(audio, sample rate).
//
// Contract: an index outside its enumeration (media, type, combination) asserts.
#pragma once

#include <cstdint>
#include <string>

class Time_Globals
{
public:
    enum EPullMedia : int32_t
    {
        ePullMedia_Audio = 0,
        ePullMedia_Video = 1
    };
    enum EPullType : int32_t
    {
        ePullType_PointOnePercent = 0,
        ePullType_FourPercent = 1
    };
    enum EPullFactor : int32_t
    {
        ePullFactor_None = 1,
        ePullFactor_Up = 2,
        ePullFactor_Down = 3
    };
    enum EVideoFormat : int32_t
    {
        eVideoFormat_NTSC = 1,
        eVideoFormat_Film = 2,
        eVideoFormat_PAL = 3
    };
    // Combined pulls: the 0.1% factor and the 4% factor together.
    enum EComboPullFactor : int32_t
    {
        eComboPullFactor_None = 0,
        eComboPullFactor_PointOneDown = 1,
        eComboPullFactor_PointOneUp = 2,
        eComboPullFactor_FourDown = 3,
        eComboPullFactor_FourUp = 4,
        eComboPullFactor_FourDownPointOneDown = 5,
        eComboPullFactor_FourDownPointOneUp = 6,
        eComboPullFactor_FourUpPointOneDown = 7,
        eComboPullFactor_FourUpPointOneUp = 8,
        eComboPullFactor_Count = 9
    };

    static double GetSampleRate() { return sSampleRate; }
    static void SetSampleRate(double iSampleRate) { sSampleRate = iSampleRate; }
    // AdjustForPullFactors(ePullMedia_Audio, GetSampleRate()).
    static double GetPullSampleRate();
    // iValue scaled by the current pull factors of iMedia; for a media value other than audio
    // and video, iValue itself.
    static double AdjustForPullFactors(int32_t iMedia, double iValue);

    static EPullFactor GetPullFactor(EPullMedia iMedia, EPullType iType);
    static void SetPullFactor(EPullMedia iMedia, EPullType iType, EPullFactor iFactor);
    // A copy of the factors kept across a temporary change made during an interchange.
    static EPullFactor GetPullFactorSaveForLE(EPullMedia iMedia, EPullType iType);
    static void SetPullFactorSaveForLE(EPullMedia iMedia, EPullType iType, EPullFactor iFactor);
    static bool GetAutoMatchPullFactors() { return sAutoMatchPullFactors; }
    static void SetAutoMatchPullFactors(bool iAutoMatch) { sAutoMatchPullFactors = iAutoMatch; }

    // "Pull Up" or "Pull Down"; empty for no pull.
    static std::string GetPullFactorString(EPullFactor iFactor);
    // The display text of a combination, followed by its routing text (" [25 fps - PAL To
    // NTSC]") when iWithRouting is set and the combination has one.
    static std::string GetComboString(EComboPullFactor iCombo, bool iWithRouting);
    static EComboPullFactor GetComboPullFactor(EPullFactor iFactor01, EPullFactor iFactor4);
    static void ComboToPullFactors(EComboPullFactor iCombo, EPullFactor* oFactor01,
                                   EPullFactor* oFactor4);
    // The combination that takes one video format to another; 0 for any other pair.
    static EComboPullFactor GetRoutingComboFactor(EVideoFormat iFrom, EVideoFormat iTo);

    // Replaces the sample rate for its scope and restores the old one on leaving it.
    class StSampleRate
    {
    public:
        explicit StSampleRate(double iSampleRate) : mSaved(sSampleRate)
        {
            sSampleRate = iSampleRate;
        }
        ~StSampleRate() { sSampleRate = mSaved; }
        StSampleRate(const StSampleRate&) = delete;
        StSampleRate& operator=(const StSampleRate&) = delete;

    private:
        double mSaved;
    };

    static double sSampleRate;
    static bool sAutoMatchPullFactors;
    static EPullFactor sPullFactors[2][2];
    static EPullFactor sPullFactorsSaveForLE[2][2];
};
