#include "Time/Time_Globals.h"

#include "Cmn_Assert.h"
#include "L10N_Utils.h"

namespace
{
constexpr int32_t cPullPackage = 17;

constexpr double cPointOneDown = 0.9990009990009991;
constexpr double cPointOneUp = 1.001;
constexpr double cFourUp = 1.0416666666666667;
constexpr double cFourDown = 0.96;

struct ComboRow
{
    Time_Globals::EPullFactor mFactor01;
    Time_Globals::EPullFactor mFactor4;
    int32_t mTextID;
    int32_t mRoutingID; // 0: none
};

constexpr Time_Globals::EPullFactor N = Time_Globals::ePullFactor_None;
constexpr Time_Globals::EPullFactor U = Time_Globals::ePullFactor_Up;
constexpr Time_Globals::EPullFactor D = Time_Globals::ePullFactor_Down;

constexpr ComboRow cCombos[Time_Globals::eComboPullFactor_Count] = {
    {N, N, 1, 0},  {D, N, 3, 11}, {U, N, 2, 10}, {N, D, 7, 15}, {N, U, 4, 12},
    {D, D, 9, 16}, {U, D, 8, 14}, {D, U, 6, 14}, {U, U, 5, 13},
};

void AssertIndices(int32_t iMedia, int32_t iType)
{
    CMN_ASSERT(iMedia >= 0 && iMedia <= 1 && iType >= 0 && iType <= 1);
}
} // namespace

double Time_Globals::sSampleRate = 44100.0;
bool Time_Globals::sAutoMatchPullFactors = false;
Time_Globals::EPullFactor Time_Globals::sPullFactors[2][2] = {{N, N}, {N, N}};
Time_Globals::EPullFactor Time_Globals::sPullFactorsSaveForLE[2][2] = {{N, N}, {N, N}};

double Time_Globals::GetPullSampleRate()
{
    return AdjustForPullFactors(ePullMedia_Audio, sSampleRate);
}

double Time_Globals::AdjustForPullFactors(int32_t iMedia, double iValue)
{
    if (iMedia != ePullMedia_Audio && iMedia != ePullMedia_Video)
        return iValue;
    const EPullFactor factor01 = sPullFactors[iMedia][ePullType_PointOnePercent];
    const EPullFactor factor4 = sPullFactors[iMedia][ePullType_FourPercent];
    // Video runs the other way round from audio.
    const bool video = iMedia == ePullMedia_Video;
    if (factor01 == ePullFactor_Down)
        iValue *= video ? cPointOneUp : cPointOneDown;
    else if (factor01 == ePullFactor_Up)
        iValue *= video ? cPointOneDown : cPointOneUp;
    if (factor4 == ePullFactor_Up)
        iValue *= video ? cFourDown : cFourUp;
    else if (factor4 == ePullFactor_Down)
        iValue *= video ? cFourUp : cFourDown;
    return iValue;
}

Time_Globals::EPullFactor Time_Globals::GetPullFactor(EPullMedia iMedia, EPullType iType)
{
    AssertIndices(iMedia, iType);
    return sPullFactors[iMedia][iType];
}

void Time_Globals::SetPullFactor(EPullMedia iMedia, EPullType iType, EPullFactor iFactor)
{
    AssertIndices(iMedia, iType);
    CMN_ASSERT(iFactor >= ePullFactor_None && iFactor <= ePullFactor_Down);
    sPullFactors[iMedia][iType] = iFactor;
}

Time_Globals::EPullFactor Time_Globals::GetPullFactorSaveForLE(EPullMedia iMedia, EPullType iType)
{
    AssertIndices(iMedia, iType);
    return sPullFactorsSaveForLE[iMedia][iType];
}

void Time_Globals::SetPullFactorSaveForLE(EPullMedia iMedia, EPullType iType, EPullFactor iFactor)
{
    AssertIndices(iMedia, iType);
    CMN_ASSERT(iFactor >= ePullFactor_None && iFactor <= ePullFactor_Down);
    sPullFactorsSaveForLE[iMedia][iType] = iFactor;
}

std::string Time_Globals::GetPullFactorString(EPullFactor iFactor)
{
    if (iFactor == ePullFactor_Up)
        return L10N_Utils::GetText(cPullPackage, 17);
    if (iFactor == ePullFactor_Down)
        return L10N_Utils::GetText(cPullPackage, 18);
    return std::string();
}

std::string Time_Globals::GetComboString(EComboPullFactor iCombo, bool iWithRouting)
{
    CMN_ASSERT(iCombo >= 0 && iCombo < eComboPullFactor_Count);
    const ComboRow& row = cCombos[iCombo];
    std::string text = L10N_Utils::GetText(cPullPackage, row.mTextID);
    if (iWithRouting && row.mRoutingID != 0)
        text += L10N_Utils::GetText(cPullPackage, row.mRoutingID);
    return text;
}

Time_Globals::EComboPullFactor Time_Globals::GetComboPullFactor(EPullFactor iFactor01,
                                                                EPullFactor iFactor4)
{
    for (int32_t combo = 0; combo < eComboPullFactor_Count; ++combo)
        if (cCombos[combo].mFactor01 == iFactor01 && cCombos[combo].mFactor4 == iFactor4)
            return static_cast<EComboPullFactor>(combo);
    CMN_ASSERT_TEXT(false, "no pull combination for these factors");
    return eComboPullFactor_None;
}

void Time_Globals::ComboToPullFactors(EComboPullFactor iCombo, EPullFactor* oFactor01,
                                      EPullFactor* oFactor4)
{
    CMN_ASSERT(iCombo >= 0 && iCombo < eComboPullFactor_Count);
    if (oFactor01 != nullptr)
        *oFactor01 = cCombos[iCombo].mFactor01;
    if (oFactor4 != nullptr)
        *oFactor4 = cCombos[iCombo].mFactor4;
}

Time_Globals::EComboPullFactor Time_Globals::GetRoutingComboFactor(EVideoFormat iFrom,
                                                                   EVideoFormat iTo)
{
    if (iFrom == eVideoFormat_NTSC && iTo == eVideoFormat_Film)
        return eComboPullFactor_PointOneUp;
    if (iFrom == eVideoFormat_NTSC && iTo == eVideoFormat_PAL)
        return eComboPullFactor_FourUpPointOneUp;
    if (iFrom == eVideoFormat_Film && iTo == eVideoFormat_NTSC)
        return eComboPullFactor_PointOneDown;
    if (iFrom == eVideoFormat_Film && iTo == eVideoFormat_PAL)
        return eComboPullFactor_FourUp;
    if (iFrom == eVideoFormat_PAL && iTo == eVideoFormat_NTSC)
        return eComboPullFactor_FourDownPointOneDown;
    if (iFrom == eVideoFormat_PAL && iTo == eVideoFormat_Film)
        return eComboPullFactor_FourDown;
    return eComboPullFactor_None;
}
