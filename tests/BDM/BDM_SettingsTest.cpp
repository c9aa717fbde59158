// The saved browser settings: round trips, refusals of lying input, the document stream.
#include <gtest/gtest.h>

#include "BDM/BDM_Settings.h"
#include "Cmn_MemBufferStream.h"
#include "FF/FF_Document.h"
#include "Support/ByteSupport.h"
#include "Support/FFTestSupport.h"
#include "Support/TestSupport.h"
#include "Sys_TypedStream.h"

namespace
{
Bytes Save(const BDM_Settings& iSettings)
{
    Cmn_MemBufferOutStream mem;
    Sys_CrossPlatformOutStream out(&mem);
    iSettings.StreamOut(out);
    return Test_Contents(mem);
}

void Load(BDM_Settings& ioSettings, const Bytes& iBytes)
{
    Cmn_MemBufferInStream mem(iBytes.data(), iBytes.data() + iBytes.size());
    Sys_CrossPlatformInStream in(&mem);
    ioSettings.StreamIn(in);
}

// Volumes that are not mounted: any designation is taken.
struct AllowAll : BDM_VolumeValidator
{
    bool IsValid(const Sys_Volume&, BDM_EVolumeDesignation) override { return true; }
};

BDM_Settings Sample(int32_t iVolumes)
{
    static AllowAll sAllowAll;
    BDM_Settings settings;
    settings.SetVolumeValidator(&sAllowAll);
    for (int32_t i = 0; i < iVolumes; ++i)
    {
        settings.SetAudioVolumeDesignation(Sys_Volume(uint32_t(0x1000 + i), "v"),
                                           BDM_EVolumeDesignation(i % 4));
        if (i % 2)
            settings.SetVideoVolumeDesignation(Sys_Volume(uint32_t(0x2000 + i), "v"),
                                               BDM_eVolumeDesignation_Playback);
    }
    settings.SetUseAdvancedSearch(iVolumes % 2 == 1);
    settings.SetSuspendNonCriticalTasksDuringPlayback(iVolumes != 3);
    settings.SetRelinkerSettings({iVolumes * 5, iVolumes > 1});
    return settings;
}
} // namespace

TEST(BDM_Settings, RoundTripsAndRefusesLyingInputLeavingTheSettingsAsTheyWere)
{
    std::vector<std::pair<std::string, Bytes>> seeds;
    for (int32_t volumes : {0, 1, 3, 6})
    {
        const BDM_Settings written = Sample(volumes);
        const Bytes bytes = Save(written);
        BDM_Settings read;
        Load(read, bytes);
        EXPECT_TRUE(read == written) << volumes;
        EXPECT_EQ(read.GetAudioVolumeDesignation(Sys_Volume(0x1002, "v")),
                  volumes > 2 ? BDM_EVolumeDesignation(2) : BDM_eVolumeDesignation_None);
        seeds.emplace_back("volumes-" + std::to_string(volumes), bytes);
    }
    const Bytes good = Save(Sample(3));
    // "BDM Prefs" (9) + version (2) + size (4): the audio count stands at 15.
    struct Bad
    {
        const char* mName;
        std::function<Bytes()> mMake;
        int32_t mID;
    };
    const auto patched = [&](size_t iAt, std::vector<unsigned char> iBytes)
    {
        Bytes b = good;
        std::copy(iBytes.begin(), iBytes.end(), b.begin() + long(iAt));
        return b;
    };
    const Bad bads[] = {
        {"bad-negative-count",
         [&] {
             return patched(15, {0xff, 0xff, 0xff, 0xfe});
         },
         29},
        {"bad-huge-count",
         [&] {
             return patched(15, {0x10, 0, 0, 0});
         },
         29},
        {"bad-version",
         [&] {
             return patched(9, {0, 2});
         },
         31},
        {"bad-size",
         [&] {
             return patched(11, {0, 0, 0x10, 0});
         },
         29},
        {"bad-short-size",
         [&] {
             return patched(11, {0, 0, 0, 6});
         },
         29},
    };
    for (const Bad& bad : bads)
    {
        BDM_Settings settings = Sample(1);
        const Bytes bytes = bad.mMake();
        EXPECT_TRUE(Test_ThrowsL10N([&] { Load(settings, bytes); }, 2, bad.mID)) << bad.mName;
        EXPECT_TRUE(settings == Sample(1)) << bad.mName;
        seeds.emplace_back(bad.mName, bytes);
    }
    // Every cut of a good block fails, and fails cleanly.
    for (size_t cut = 0; cut < good.size(); ++cut)
    {
        BDM_Settings settings = Sample(1);
        const Bytes head(good.begin(), good.begin() + long(cut));
        EXPECT_NE(ThrownText([&] { Load(settings, head); }), "") << cut;
        EXPECT_TRUE(settings == Sample(1)) << cut;
    }
    WriteFuzzSeeds(seeds);
}

TEST(BDM_Settings, ObserversValidatorAndTheDocumentStream)
{
    struct VolumeCounter : Cmn_Observable<const Sys_Volume>::Observer
    {
        int mCount = 0;
        void Notify(const Sys_Volume&) override { ++mCount; }
    } volumes;
    struct RefuseRecord : BDM_VolumeValidator
    {
        bool IsValid(const Sys_Volume&, BDM_EVolumeDesignation iValue) override
        {
            return iValue != BDM_eVolumeDesignation_Record;
        }
    } validator;
    BDM_Settings settings;
    settings.Cmn_Observable<const Sys_Volume>::AddObserver(volumes);
    settings.SetVolumeValidator(&validator);
    const Sys_Volume volume(0x42, "Media");
    EXPECT_TRUE(settings.SetAudioVolumeDesignation(volume, BDM_eVolumeDesignation_Playback));
    EXPECT_TRUE(settings.SetAudioVolumeDesignation(volume, BDM_eVolumeDesignation_Playback));
    EXPECT_FALSE(settings.SetVideoVolumeDesignation(volume, BDM_eVolumeDesignation_Record));
    EXPECT_EQ(volumes.mCount, 1); // only a change is told
    EXPECT_EQ(settings.GetVideoVolumeDesignation(volume), BDM_eVolumeDesignation_None);
    settings.Cmn_Observable<const Sys_Volume>::RemoveObserver(volumes);

    Test_TempDir dir;
    const Sys_FileLoc loc(dir.Path() + "/prefs");
    {
        FF_Document document(loc, "pref", "MDul");
        document.Open(Cmn_Store::eOpenFlag_OpenCreate);
        BDM_Settings empty;
        empty.Read(document); // no stream yet: unchanged
        EXPECT_TRUE(empty == BDM_Settings());
        settings.Write(document);
        document.Close();
    }
    FF_Document document(loc, "pref", "MDul");
    document.Open(Cmn_Store::eOpenFlag_OpenForRead);
    BDM_Settings read;
    read.Read(document);
    EXPECT_TRUE(read == settings);
    EXPECT_EQ(document.GetStreamKeys(), std::vector<std::string>{"BDM Prefs"});
    document.Close();
}
