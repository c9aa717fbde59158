// Fuzz target: the saved browser settings ("BDM Prefs") over in-memory input.
//
// Input: a "BDM Prefs" block in the cross-platform (big-endian) byte order, as
// BDM_Settings::StreamOut writes it. The seeds in fuzz/seeds/BDMSettingsFuzz/ are written by
// tests/BDM/BDM_SettingsTest.cpp. Settings that read are saved and read again, and must
// come back equal.
//
// The only expected failures are the library's own L10N exceptions (bad magic, lying sizes
// and counts, end of stream, version). Anything else, a crash, a huge allocation, or a
// round trip that differs, is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "BDM/BDM_Settings.h"
#include "Cmn_MemBufferStream.h"
#include "L10N_ExceptionData.h"
#include "Sys_TypedStream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Cmn_MemBufferInStream mem(data, data + size);
    Sys_CrossPlatformInStream in(&mem);
    BDM_Settings settings;
    try
    {
        settings.StreamIn(in);
    }
    catch (const L10N_Exception&)
    {
        return 0;
    }
    Cmn_MemBufferOutStream saved;
    Sys_CrossPlatformOutStream out(&saved);
    settings.StreamOut(out);
    Cmn_MemBufferInStream again(saved.GetBuffer(), saved.GetBuffer() + saved.GetEndPos());
    Sys_CrossPlatformInStream in2(&again);
    BDM_Settings copy;
    copy.StreamIn(in2);
    if (!(copy == settings))
        std::abort();
    return 0;
}
