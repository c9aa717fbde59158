// Sys_FileUtils: new names for taken ones, the clean-up guard, stepwise and whole copies,
// moves and deletes (with AppleDouble sidecars), the Mac type from a sidecar, and
// Sys_FileProperties.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

#include "Sys_FileProperties.h"
#include "Sys_FileUtils.h"
#include "Sys_OSErrData.h"
#include "Sys_Volume.h"
#include "Tarn_FileTypes.h"
#include "TestSupport.h"

namespace
{
void Write(const std::string& iPath, const std::string& iData)
{
    std::ofstream(iPath, std::ios::binary) << iData;
}

std::string Read(const std::string& iPath)
{
    std::ifstream in(iPath, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool Exists(const std::string& iPath)
{
    return std::filesystem::exists(std::filesystem::symlink_status(iPath));
}

void Put32(std::string& ioData, uint32_t iValue)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        ioData += static_cast<char>((iValue >> shift) & 0xFF);
}

// An AppleDouble file: Finder information (type, creator, 24 bytes of flags) and a resource
// fork of iForkSize bytes; iLieAbout puts the Finder entry's offset past the end.
std::string AppleDouble(const char* iType, const char* iCreator, uint32_t iForkSize,
                        bool iLieAbout = false)
{
    std::string data;
    Put32(data, 0x00051607);
    Put32(data, 0x00020000);
    data += std::string(16, '\0');
    data += '\0';
    data += '\2'; // two entries
    const uint32_t finderOffset = 26 + 2 * 12;
    Put32(data, 9);
    Put32(data, iLieAbout ? 0x7FFFFFF0 : finderOffset);
    Put32(data, 32);
    Put32(data, 2);
    Put32(data, finderOffset + 32);
    Put32(data, iForkSize);
    data += std::string(iType, 4) + std::string(iCreator, 4) + std::string(24, '\0');
    data += std::string(iForkSize, 'r');
    return data;
}

bool FailsWith(const std::function<void()>& iAction, int32_t iErrno)
{
    try
    {
        iAction();
    }
    catch (const Sys_OSErrException& e)
    {
        return e.GetData().GetError() == iErrno;
    }
    return false;
}
} // namespace

// ---- names ---------------------------------------------------------------------------------

TEST(Sys_FileUtils, SplitsNamesIntoBaseSuffixAndExtension)
{
    struct Case
    {
        const char* mName;
        bool mFolder;
        const char* mBase;
        const char* mSuffix;
        const char* mExtension;
    };
    const Case cases[] = {{"Take.wav", false, "Take", "", "wav"},
                          {"Take.L.wav", false, "Take", ".L", "wav"},
                          {"Mix.LFE.aif", false, "Mix", ".LFE", "aif"},
                          {"Mix.Ls", false, "Mix", "", "Ls"},
                          {"v1.5", true, "v1.5", "", ""},
                          {".hidden", false, ".hidden", "", ""},
                          {"Loop", false, "Loop", "", ""}};
    for (const Case& c : cases)
    {
        std::string base, suffix, extension;
        Sys_FileUtils::SplitName(c.mName, c.mFolder, &base, &suffix, &extension);
        EXPECT_EQ(base, c.mBase) << c.mName;
        EXPECT_EQ(suffix, c.mSuffix) << c.mName;
        EXPECT_EQ(extension, c.mExtension) << c.mName;
    }
}

TEST(Sys_FileUtils, HandleDuplicateNameFindsTheFirstFreeNumber)
{
    Test_TempDir dir;
    const Sys_FileLoc folder(dir.Path());
    const Sys_FileLoc take(folder, "Take.wav");
    EXPECT_EQ(Sys_FileUtils::HandleDuplicateName(take), take);
    Write(dir.Path() + "/Take.wav", "");
    EXPECT_EQ(Sys_FileUtils::HandleDuplicateName(take).GetName(), "Take.1.wav");
    Write(dir.Path() + "/Take.1.wav", "");
    EXPECT_EQ(Sys_FileUtils::HandleDuplicateName(take).GetName(), "Take.2.wav");

    Write(dir.Path() + "/Take.L.wav", "");
    EXPECT_EQ(Sys_FileUtils::HandleDuplicateName(Sys_FileLoc(folder, "Take.L.wav")).GetName(),
              "Take.1.L.wav");
    std::filesystem::create_directory(dir.Path() + "/Bounce v2.0");
    EXPECT_EQ(Sys_FileUtils::HandleDuplicateName(Sys_FileLoc(folder, "Bounce v2.0")).GetName(),
              "Bounce v2.0.1");

    const int32_t limit = folder.GetVolume().GetMaxFileNameComponentLength();
    const std::string longName = std::string(size_t(limit) - 4, 'n') + ".wav";
    Write(dir.Path() + "/" + longName, "");
    const std::string fresh =
        Sys_FileUtils::HandleDuplicateName(Sys_FileLoc(folder, longName)).GetName();
    EXPECT_EQ(fresh, std::string(size_t(limit) - 6, 'n') + ".1.wav");
}

// ---- the clean-up guard --------------------------------------------------------------------

namespace
{
struct Recorder : Sys_FileUtils::StDeleteFiles::DeleteNotificationClient
{
    std::vector<std::string> mDeleted;
    void FileDeleted(const Sys_FileLoc& iLoc) override { mDeleted.push_back(iLoc.GetName()); }
};
} // namespace

TEST(Sys_FileUtils_StDeleteFiles, DeletesOnUnwindUnlessReleased)
{
    Test_TempDir dir;
    Write(dir.Path() + "/out.wav", "data");
    Write(dir.Path() + "/._out.wav", "side");
    std::filesystem::create_directories(dir.Path() + "/made/inner");
    Write(dir.Path() + "/made/inner/x", "x");
    Write(dir.Path() + "/kept.wav", "k");
    Recorder recorder;
    Sys_FileUtils::StDeleteFiles::SetDeleteNoficationClient(&recorder);
    try
    {
        Sys_FileUtils::StDeleteFiles guard(Sys_FileLoc(dir.Path() + "/out.wav"));
        guard.Add(Sys_FileLoc(dir.Path() + "/made"));
        guard.Add(Sys_FileLoc(dir.Path() + "/never-made"));
        guard.Add(Sys_FileLoc(dir.Path() + "/out.wav"));
        EXPECT_EQ(guard.GetFiles().size(), 3u);
        throw std::runtime_error("write failed");
    }
    catch (const std::runtime_error&)
    {
    }
    Sys_FileUtils::StDeleteFiles::SetDeleteNoficationClient(nullptr);
    EXPECT_FALSE(Exists(dir.Path() + "/out.wav"));
    EXPECT_FALSE(Exists(dir.Path() + "/._out.wav"));
    EXPECT_FALSE(Exists(dir.Path() + "/made"));
    EXPECT_EQ(recorder.mDeleted, (std::vector<std::string>{"out.wav", "made"}));

    {
        Sys_FileUtils::StDeleteFiles guard(Sys_FileLoc(dir.Path() + "/kept.wav"));
        guard.Release();
    }
    EXPECT_TRUE(Exists(dir.Path() + "/kept.wav"));
    Sys_FileUtils::StDeleteFiles guard(Sys_FileLoc(dir.Path() + "/kept.wav"));
    guard.Delete();
    EXPECT_FALSE(Exists(dir.Path() + "/kept.wav"));
    EXPECT_TRUE(guard.GetFiles().empty());
}

// ---- copies --------------------------------------------------------------------------------

TEST(Sys_FileUtils_FileCopier, CopiesInBoundedStepsWithProgress)
{
    Test_TempDir dir;
    std::string data;
    for (int i = 0; i < 10000; ++i)
        data += static_cast<char>(i * 7);
    Write(dir.Path() + "/src", data);
    auto copier = Sys_FileUtils::CreateFileCopier(Sys_FileLoc(dir.Path() + "/src"),
                                                  Sys_FileLoc(dir.Path() + "/dst"), 0, -1, 4096);
    EXPECT_EQ(copier->GetTotalBytes(), 10000);
    std::vector<int64_t> progress;
    bool more = true;
    while (more)
    {
        more = copier->CopyNextStep();
        progress.push_back(copier->GetBytesCopied());
    }
    EXPECT_EQ(progress, (std::vector<int64_t>{4096, 8192, 10000}));
    EXPECT_TRUE(copier->IsFinished());
    EXPECT_FALSE(copier->CopyNextStep());
    copier->Abort(); // finished: nothing to undo
    EXPECT_EQ(Read(dir.Path() + "/dst"), data);

    auto part = Sys_FileUtils::CreateFileCopier(Sys_FileLoc(dir.Path() + "/src"),
                                                Sys_FileLoc(dir.Path() + "/part"), 100, 50);
    EXPECT_FALSE(part->CopyNextStep());
    EXPECT_EQ(Read(dir.Path() + "/part"), data.substr(100, 50));

    Write(dir.Path() + "/empty", "");
    auto empty = Sys_FileUtils::CreateFileCopier(Sys_FileLoc(dir.Path() + "/empty"),
                                                 Sys_FileLoc(dir.Path() + "/empty2"));
    EXPECT_FALSE(empty->CopyNextStep());
    EXPECT_TRUE(Exists(dir.Path() + "/empty2"));

    EXPECT_TRUE(FailsWith(
        [&]
        {
            Sys_FileUtils::CreateFileCopier(Sys_FileLoc(dir.Path() + "/src"),
                                            Sys_FileLoc(dir.Path() + "/x"), 9990, 11);
        },
        EINVAL));
    EXPECT_FALSE(Exists(dir.Path() + "/x"));
}

TEST(Sys_FileUtils_FileCopier, AbortAndDestructionLeaveNoPartialFile)
{
    Test_TempDir dir;
    Write(dir.Path() + "/src", std::string(5000, 's'));
    auto copier = Sys_FileUtils::CreateFileCopier(Sys_FileLoc(dir.Path() + "/src"),
                                                  Sys_FileLoc(dir.Path() + "/dst"), 0, -1, 1000);
    EXPECT_TRUE(copier->CopyNextStep());
    EXPECT_TRUE(Exists(dir.Path() + "/dst"));
    copier->Abort();
    EXPECT_TRUE(copier->IsAborted());
    EXPECT_FALSE(copier->CopyNextStep());
    EXPECT_FALSE(Exists(dir.Path() + "/dst"));
    {
        auto dropped = Sys_FileUtils::CreateFileCopier(
            Sys_FileLoc(dir.Path() + "/src"), Sys_FileLoc(dir.Path() + "/dst2"), 0, -1, 1000);
        dropped->CopyNextStep();
    }
    EXPECT_FALSE(Exists(dir.Path() + "/dst2"));
}

TEST(Sys_FileUtils_FileCopier, ARangeGoesIntoAnExistingFileAtAnOffset)
{
    Test_TempDir dir;
    std::string data;
    for (int i = 0; i < 9000; ++i)
        data += static_cast<char>(i * 13);
    // The source in the machine's shared memory where there is one: a file system of its
    // own, between which and the test folder the kernel may refuse to copy, so that the
    // buffered way is taken too.
    const std::string shm = "/dev/shm/mirafile-range-" + std::to_string(::getpid());
    for (const std::string& src :
         {dir.Path() + "/src", std::filesystem::is_directory("/dev/shm") ? shm : std::string()})
    {
        if (src.empty())
            continue;
        SCOPED_TRACE(src);
        Write(src, data);
        Write(dir.Path() + "/dst", std::string(100, 'h'));
        auto copier = Sys_FileUtils::CreateRangeCopier(
            Sys_FileLoc(src), 500, Sys_FileLoc(dir.Path() + "/dst"), 40, 8000, 3000);
        int steps = 0;
        while (copier->CopyNextStep())
            ++steps;
        EXPECT_EQ(steps, 2);
        EXPECT_EQ(Read(dir.Path() + "/dst"), std::string(40, 'h') + data.substr(500, 8000));

        // An aborted range copy leaves the destination, with what it got, to its owner.
        Write(dir.Path() + "/dst", std::string(100, 'h'));
        auto aborted = Sys_FileUtils::CreateRangeCopier(
            Sys_FileLoc(src), 0, Sys_FileLoc(dir.Path() + "/dst"), 10, 9000, 1000);
        EXPECT_TRUE(aborted->CopyNextStep());
        aborted->Abort();
        EXPECT_EQ(Read(dir.Path() + "/dst"), std::string(10, 'h') + data.substr(0, 1000));
        std::filesystem::remove(src);
    }
    EXPECT_TRUE(FailsWith(
        [&]
        {
            Sys_FileUtils::CreateRangeCopier(Sys_FileLoc(dir.Path() + "/dst"), 0,
                                             Sys_FileLoc(dir.Path() + "/missing"), 0, 10);
        },
        ENOENT));
    EXPECT_FALSE(Exists(dir.Path() + "/missing"));
}

TEST(Sys_FileUtils, CopyMoveAndDeleteTakeTheSidecarAlong)
{
    Test_TempDir dir;
    const std::string a = dir.Path() + "/a", b = dir.Path() + "/b";
    std::filesystem::create_directories(a);
    Write(a + "/Loop.aif", "audio");
    Write(a + "/._Loop.aif", AppleDouble("AIFF", "MDul", 3));

    Sys_FileUtils::CreateFolder(Sys_FileLoc(b + "/deep/er"));
    const Sys_FileLoc copied =
        Sys_FileUtils::CopyFileHandleDuplicateNames(Sys_FileLoc(a + "/Loop.aif"), Sys_FileLoc(b));
    EXPECT_EQ(copied.GetFullPath(), b + "/Loop.aif");
    EXPECT_EQ(Read(b + "/._Loop.aif"), Read(a + "/._Loop.aif"));
    EXPECT_EQ(
        Sys_FileUtils::CopyFileHandleDuplicateNames(Sys_FileLoc(a + "/Loop.aif"), Sys_FileLoc(b))
            .GetName(),
        "Loop.1.aif");

    EXPECT_TRUE(
        FailsWith([&] { Sys_FileUtils::MoveFile(Sys_FileLoc(a + "/Loop.aif"), copied); }, EEXIST));
    Sys_FileUtils::MoveFile(Sys_FileLoc(a + "/Loop.aif"), Sys_FileLoc(b + "/deep/Moved.aif"));
    EXPECT_FALSE(Exists(a + "/Loop.aif"));
    EXPECT_FALSE(Exists(a + "/._Loop.aif"));
    EXPECT_EQ(Read(b + "/deep/Moved.aif"), "audio");
    EXPECT_EQ(Sys_FileUtils::GetFileResourceForkSize(Sys_FileLoc(b + "/deep/Moved.aif")), 3);

    EXPECT_TRUE(Sys_FileUtils::IsFolderEmpty(Sys_FileLoc(a)));
    EXPECT_EQ(Sys_FileUtils::GetNumberOfFilesInFolder(Sys_FileLoc(b), true), 3);
    EXPECT_TRUE(
        Test_ThrowsL10N([&] { Sys_FileUtils::DeleteFolder(Sys_FileLoc(b), false); }, 2, 88));

    std::map<Sys_FileLoc, Sys_FileLoc> renamed;
    Sys_FileLoc result;
    Sys_FileUtils::CopyFolderHandleDuplicateNames(Sys_FileLoc(b), Sys_FileLoc(a), &renamed,
                                                  &result);
    EXPECT_EQ(result.GetFullPath(), a + ".1");
    EXPECT_EQ(renamed.size(), 3u);
    EXPECT_EQ(Read(a + ".1/deep/Moved.aif"), "audio");
    EXPECT_TRUE(Exists(a + ".1/deep/._Moved.aif"));

    EXPECT_TRUE(Sys_FileUtils::DeleteFile(copied));
    EXPECT_FALSE(Exists(b + "/._Loop.aif"));
    EXPECT_FALSE(Sys_FileUtils::DeleteFile(copied));
    EXPECT_TRUE(FailsWith([&] { Sys_FileUtils::DeleteFile(Sys_FileLoc(b)); }, EISDIR));
    EXPECT_TRUE(Sys_FileUtils::DeleteFolder(Sys_FileLoc(b)));
    EXPECT_FALSE(Exists(b));
}

// ---- types from sidecars -------------------------------------------------------------------

TEST(Sys_FileUtils, GetFileTypeReadsTheMacTypeWhenTheExtensionSaysNothing)
{
    Tarn_FileTypes::Initialize();
    Test_TempDir dir;
    const std::string p = dir.Path();
    Write(p + "/Groove", "g");
    Write(p + "/._Groove", AppleDouble("MIDI", "MDul", 0));
    Write(p + "/notes.txt", "t");
    Write(p + "/._notes.txt", AppleDouble("MIDI", "MDul", 0));
    Write(p + "/Liar", "l");
    Write(p + "/._Liar", AppleDouble("MIDI", "MDul", 0, true));
    Write(p + "/Short", "s");
    Write(p + "/._Short", AppleDouble("MIDI", "MDul", 0).substr(0, 40));
    Write(p + "/Bare", "b");

    EXPECT_EQ(Sys_FileUtils::GetFileType(Sys_FileLoc(p + "/Groove")),
              Tarn_FileTypes::cMIDIFileType);
    EXPECT_EQ(Sys_FileUtils::GetFileType(Sys_FileLoc(p + "/notes.txt")),
              Tarn_FileTypes::cTextFileType);
    for (const char* name : {"/Liar", "/Short", "/Bare", "/missing"})
        EXPECT_EQ(Sys_FileUtils::GetFileType(Sys_FileLoc(p + name)), Sys_FileType::cUnknown)
            << name;
    EXPECT_EQ(Sys_FileUtils::GetFileType(Sys_FileLoc(p)), Sys_FileType::cFolder);

    const Sys_FileProperties props(Sys_FileLoc(p + "/Groove"));
    EXPECT_TRUE(props.GetExists());
    EXPECT_FALSE(props.IsFolder());
    EXPECT_EQ(props.GetDataForkSize(), 1);
    EXPECT_EQ(props.GetFileType(), Tarn_FileTypes::cMIDIFileType);
    EXPECT_GT(props.GetModifiedUTC(), 0);
    EXPECT_GT(props.GetCreatedUTC(), 0);
    EXPECT_FALSE(Sys_FileProperties(Sys_FileLoc(p + "/missing")).GetExists());
    EXPECT_TRUE(Sys_FileProperties(Sys_FileLoc(p + "/._Groove")).IsHidden());
}
