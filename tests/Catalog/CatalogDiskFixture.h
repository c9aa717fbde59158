// A disk mounted at a folder of the scratch folder (through a mount table of the test's own)
// holding a few audio files, and its database in the scratch folder's "volumes": the fixture
// of the volume suites.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <sstream>
#include <string>

#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Synchronizer.h"
#include "BDM/BDM_Volume.h"
#include "Catalog/CatalogTestSupport.h"
#include "Support/FFTestSupport.h"
#include "Sys_VolumePosix.h"

class Catalog_DiskFixture : public ::testing::Test
{
public: // the cases' changes reach the helpers through the fixture
    static constexpr uint32_t cDisk = 0xD15C;

    void SetUp() override
    {
        Catalog_InitBrowser();
        BDM_Globals::Instance();
        BDM_Volume::SetVolumesFolder(Sys_FileLoc(In("volumes")));
        Mount("disk");
        for (const char* name : {"a.wav", "b.wav", "sub/c.wav", "sub/d.wav", "sub2/e.wav"})
            Wave(name, 100);
    }
    void TearDown() override
    {
        Sys_VolumePosix::ClearMountTable();
        BDM_Volume::SetVolumesFolder(Sys_FileLoc());
    }
    // The disk and its database made afresh, and indexed.
    void Reset()
    {
        std::filesystem::remove_all(In("volumes"));
        std::filesystem::remove_all(In("disk"));
        SetUp();
        Index();
    }
    std::string In(const std::string& iName) const { return mDir.Path() + "/" + iName; }
    std::string OnDisk(const std::string& iName) const { return In(mMountFolder + "/" + iName); }
    void Wave(const std::string& iName, int32_t iFrames)
    {
        std::filesystem::create_directories(std::filesystem::path(OnDisk(iName)).parent_path());
        MakeWave(OnDisk(iName), 1, 16, Bytes(size_t(iFrames) * 2, 3));
    }
    // The disk at iFolder (or not mounted at all, for an empty name), read-only or with a
    // given free space when asked.
    void Mount(const std::string& iFolder, bool iReadOnly = false, int64_t iFreeSpace = -1)
    {
        Sys_VolumePosix::MountTable table(1);
        table[0].mID = 1;
        table[0].mMountPoint = "/";
        table[0].mFileSystemName = "ext4";
        if (!iFolder.empty())
        {
            std::filesystem::create_directories(In(iFolder));
            Sys_VolumePosix::MountEntry disk = table[0];
            disk.mID = cDisk;
            disk.mMountPoint = std::filesystem::canonical(In(iFolder)).string();
            disk.mReadOnly = iReadOnly;
            disk.mFreeSpaceOverride = iFreeSpace;
            table.push_back(disk);
            mMountFolder = iFolder;
        }
        Sys_VolumePosix::SetMountTable(table);
    }
    Sys_Volume Disk() const { return Sys_Volume(cDisk, std::string()); }
    // One whole pass over the disk, in a volume bin of its own that is closed afterwards.
    BDM_SyncCounts Index()
    {
        BDM_BinHandle hold(new BDM_Volume(&BDM_Globals::Instance()->Cache(), Disk()));
        BDM_Volume& volume = static_cast<BDM_Volume&>(*hold);
        volume.Open(volume.HasDatabase() ? Cmn_Store::eOpenFlag_OpenForWrite
                                         : Cmn_Store::eOpenFlag_OpenCreate);
        BDM_LazyObjectHandle pass(new BDM_Synchronizer(
            volume, BDM_Volume::GetFileSystemHooks().mMakeKey(Sys_FileLoc(Disk())),
            volume.GetRoot(), true, true, true));
        {
            Sys_LazyObject::StSetLoadSynchronously synchronously;
            pass->QueueObjectLoader(std::string());
        }
        EXPECT_TRUE(pass->IsLoaded());
        const BDM_SyncCounts counts = static_cast<BDM_Synchronizer&>(*pass).GetCounts();
        pass.Reset();
        volume.Close();
        return counts;
    }
    // Every stored row by its path below the disk's root ("" for the root).
    std::map<std::string, std::string> Rows() const
    {
        std::istringstream lines(Catalog_Sqlite(
            BDM_Volume::GetDatabaseURL(cDisk).GetFullPath(),
            "SELECT replace(FilePathComponents, char(31), '/'), * FROM Asset ORDER BY ID"));
        std::map<std::string, std::string> rows;
        for (std::string line; std::getline(lines, line);)
        {
            std::string path = line.substr(0, line.find('|'));
            if (!path.empty() && path.back() == '/')
                path.pop_back();
            rows[path] = line;
        }
        return rows;
    }

    Test_TempDir mDir;
    std::string mMountFolder;
};
