// Feeds bytes to every text reader of the time scales, to the raw saved form of a typed
// time and to the streamed form of a notation duration. Every reader must either take the
// input or throw an exception of the library's family.
#include <cstdint>
#include <cstring>
#include <string>

#include "Cmn_Assert.h"
#include "Cmn_MemBufferStream.h"
#include "L10N_ExceptionData.h"
#include "Sys_TypedStream.h"
#include "Time/Time_BarBeatTick.h"
#include "Time/Time_FeetFrame.h"
#include "Time/Time_MinSec.h"
#include "Time/Time_NotationDurationValue.h"
#include "Time/Time_SMPTE.h"
#include "Time/Time_Typed.h"

template <class F> static void Guarded(F iF)
{
    try
    {
        iF();
    }
    catch (const Cmn_AssertException&)
    {
    }
    catch (const L10N_Exception&)
    {
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* iData, size_t iSize)
{
    const std::string text(reinterpret_cast<const char*>(iData), iSize);
    Guarded([&] {
        Time_SMPTE t;
        t.FromString(text);
        (void)t.ToString(true);
    });
    Guarded([&] {
        Time_FeetFrame f;
        f.FromString(text);
        (void)f.ToString(true, true);
    });
    Guarded([&] {
        Time_MinSec m;
        m.FromString(text);
        (void)m.ToString(true);
    });
    Guarded([&] {
        Time_BarBeatTick b;
        b.FromString(text);
        (void)b.ToString(true, true);
    });
    if (iSize >= 8)
    {
        int64_t raw = 0;
        std::memcpy(&raw, iData, 8);
        Guarded([&] {
            Time_Typed typed;
            typed.SetFromRawSavedData(raw);
            (void)typed.GetRawDataForSave();
        });
    }
    Guarded([&] {
        Cmn_MemBufferInStream mem(iData, iData + iSize);
        Sys_CrossPlatformInStream in(&mem);
        Time_NotationDurationValue value;
        value.StreamIn(in);
    });
    return 0;
}
