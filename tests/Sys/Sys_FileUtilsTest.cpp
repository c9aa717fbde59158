// Sys_FileUtils: new names for taken ones, the clean-up guard, stepwise and whole copies,
// moves and deletes (with AppleDouble sidecars), the Mac type from a sidecar, and
// Sys_FileProperties.
#include <unistd.h>

#include "Support/SysTestSupport.h"
#include "Sys_FileProperties.h"
#include "Sys_FileUtils.h"
#include "Sys_Volume.h"
#include "Tarn_FileTypes.h"

namespace
{
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
    return ThrownError(iAction).first == iErrno;
}
} // namespace

// ---- names ---------------------------------------------------------------------------------

TEST(Sys_FileUtils, SplitsNamesIntoBaseSuffixAndExtension)
{
    // {name, whether a folder, "base|suffix|extension"}
    const std::tuple<const char*, bool, const char*> cases[] = {
        {"Take.wav", false, "Take||wav"},
        {"Take.L.wav", false, "Take|.L|wav"},
        {"Mix.LFE.aif", false, "Mix|.LFE|aif"},
        {"Mix.Ls", false, "Mix||Ls"},
        {"v1.5", true, "v1.5||"},
        {".hidden", false, ".hidden||"},
        {"Loop", false, "Loop||"}};
    for (const auto& [name, folder, parts] : cases)
    {
        std::string base, suffix, extension;
        Sys_FileUtils::SplitName(name, folder, &base, &suffix, &extension);
        EXPECT_EQ(base + "|" + suffix + "|" + extension, parts) << name;
    }
}

TEST(Sys_FileUtils, HandleDuplicateNameFindsTheFirstFreeNumber)
{
    Test_TempDir dir;
    const Sys_FileLoc folder(dir.Path());
    const Sys_FileLoc take(folder, "Take.wav");
    EXPECT_EQ(Sys_FileUtils::HandleDuplicateName(take), take);
    WriteBytes(dir.Path() + "/Take.wav", "");
    EXPECT_EQ(Sys_FileUtils::HandleDuplicateName(take).GetName(), "Take.1.wav");
    WriteBytes(dir.Path() + "/Take.1.wav", "");
    EXPECT_EQ(Sys_FileUtils::HandleDuplicateName(take).GetName(), "Take.2.wav");

    WriteBytes(dir.Path() + "/Take.L.wav", "");
    EXPECT_EQ(Sys_FileUtils::HandleDuplicateName(Sys_FileLoc(folder, "Take.L.wav")).GetName(),
              "Take.1.L.wav");
    std::filesystem::create_directory(dir.Path() + "/Bounce v2.0");
    EXPECT_EQ(Sys_FileUtils::HandleDuplicateName(Sys_FileLoc(folder, "Bounce v2.0")).GetName(),
              "Bounce v2.0.1");

    const int32_t limit = folder.GetVolume().GetMaxFileNameComponentLength();
    const std::string longName = std::string(size_t(limit) - 4, 'n') + ".wav";
    WriteBytes(dir.Path() + "/" + longName, "");
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

TEST(Sys_FileUtils_StDeleteFiles, DeletesAtTheEndOfItsScopeUnlessReleased)
{
    Test_TempDir dir;
    const std::string p = dir.Path();
    WriteBytes(p + "/out.wav", "data");
    WriteBytes(p + "/._out.wav", "side");
    std::filesystem::create_directories(p + "/made/inner");
    WriteBytes(p + "/made/inner/x", "x");
    WriteBytes(p + "/kept.wav", "k");
    Recorder recorder;
    Sys_FileUtils::StDeleteFiles::SetDeleteNoficationClient(&recorder);
    {
        Sys_FileUtils::StDeleteFiles guard(Sys_FileLoc(p + "/out.wav"));
        guard.Add(Sys_FileLoc(p + "/made"));
        guard.Add(Sys_FileLoc(p + "/never-made"));
        guard.Add(Sys_FileLoc(p + "/out.wav"));
        EXPECT_EQ(guard.GetFiles().size(), 3u);
    }
    Sys_FileUtils::StDeleteFiles::SetDeleteNoficationClient(nullptr);
    for (const char* gone : {"/out.wav", "/._out.wav", "/made"})
        EXPECT_FALSE(Exists(p + gone)) << gone;
    EXPECT_EQ(recorder.mDeleted, (std::vector<std::string>{"out.wav", "made"}));

    Sys_FileUtils::StDeleteFiles(Sys_FileLoc(p + "/kept.wav")).Release();
    EXPECT_TRUE(Exists(p + "/kept.wav"));
    Sys_FileUtils::StDeleteFiles guard(Sys_FileLoc(p + "/kept.wav"));
    guard.Delete();
    EXPECT_FALSE(Exists(p + "/kept.wav"));
    EXPECT_TRUE(guard.GetFiles().empty());
}

// ---- copies --------------------------------------------------------------------------------

TEST(Sys_FileUtils_FileCopier, CopiesInBoundedStepsAndLeavesNoPartialFile)
{
    Test_TempDir dir;
    const std::string src = dir.Path() + "/src", dst = dir.Path() + "/dst";
    const Bytes bytes = Pattern(10000);
    const std::string data(bytes.begin(), bytes.end());
    WriteBytes(src, data);
    auto copier = Sys_FileUtils::CreateFileCopier(Sys_FileLoc(src), Sys_FileLoc(dst), 0, -1, 4096);
    EXPECT_EQ(copier->GetTotalBytes(), 10000);
    std::vector<int64_t> progress;
    for (bool more = true; more;)
    {
        more = copier->CopyNextStep();
        progress.push_back(copier->GetBytesCopied());
    }
    EXPECT_EQ(progress, (std::vector<int64_t>{4096, 8192, 10000}));
    EXPECT_TRUE(copier->IsFinished());
    EXPECT_FALSE(copier->CopyNextStep());
    copier->Abort(); // finished: nothing to undo
    EXPECT_EQ(ReadBytes<std::string>(dst), data);

    auto part = Sys_FileUtils::CreateFileCopier(Sys_FileLoc(src), Sys_FileLoc(dst + "p"), 100, 50);
    EXPECT_FALSE(part->CopyNextStep());
    EXPECT_EQ(ReadBytes<std::string>(dst + "p"), data.substr(100, 50));
    WriteBytes(src + "0", "");
    EXPECT_FALSE(Sys_FileUtils::CreateFileCopier(Sys_FileLoc(src + "0"), Sys_FileLoc(dst + "0"))
                     ->CopyNextStep());
    EXPECT_TRUE(Exists(dst + "0"));
    EXPECT_TRUE(FailsWith(
        [&]
        { Sys_FileUtils::CreateFileCopier(Sys_FileLoc(src), Sys_FileLoc(dst + "x"), 9990, 11); },
        EINVAL));
    EXPECT_FALSE(Exists(dst + "x"));

    // Half-way the partial file stands under a temporary name, never under the final one;
    // aborted or dropped half-way, a copy takes its partial file with it.
    const auto partial = [&](const std::string& iName)
    {
        return std::filesystem::path(dst).parent_path().string() + "/.mirafile-tmp-" +
               std::to_string(::getpid()) + "-" + std::filesystem::path(iName).filename().string();
    };
    auto aborted =
        Sys_FileUtils::CreateFileCopier(Sys_FileLoc(src), Sys_FileLoc(dst + "a"), 0, -1, 1000);
    EXPECT_TRUE(aborted->CopyNextStep());
    EXPECT_TRUE(Exists(partial(dst + "a")));
    EXPECT_FALSE(Exists(dst + "a"));
    aborted->Abort();
    EXPECT_TRUE(aborted->IsAborted());
    EXPECT_FALSE(aborted->CopyNextStep());
    EXPECT_FALSE(Exists(dst + "a"));
    EXPECT_FALSE(Exists(partial(dst + "a")));
    Sys_FileUtils::CreateFileCopier(Sys_FileLoc(src), Sys_FileLoc(dst + "d"), 0, -1, 1000)
        ->CopyNextStep();
    EXPECT_FALSE(Exists(dst + "d"));
    EXPECT_FALSE(Exists(partial(dst + "d")));
}

TEST(Sys_FileUtils_FileCopier, ARangeGoesIntoAnExistingFileAtAnOffset)
{
    Test_TempDir dir;
    const Bytes bytes = Pattern(9000);
    const std::string data(bytes.begin(), bytes.end()), dst = dir.Path() + "/dst";
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
        WriteBytes(src, data);
        WriteBytes(dst, std::string(100, 'h'));
        auto copier = Sys_FileUtils::CreateRangeCopier(Sys_FileLoc(src), 500, Sys_FileLoc(dst), 40,
                                                       8000, 3000);
        int steps = 0;
        while (copier->CopyNextStep())
            ++steps;
        EXPECT_EQ(steps, 2);
        EXPECT_EQ(ReadBytes<std::string>(dst), std::string(40, 'h') + data.substr(500, 8000));

        // An aborted range copy leaves the destination, with what it got, to its owner.
        WriteBytes(dst, std::string(100, 'h'));
        auto aborted =
            Sys_FileUtils::CreateRangeCopier(Sys_FileLoc(src), 0, Sys_FileLoc(dst), 10, 9000, 1000);
        EXPECT_TRUE(aborted->CopyNextStep());
        aborted->Abort();
        EXPECT_EQ(ReadBytes<std::string>(dst), std::string(10, 'h') + data.substr(0, 1000));
        std::filesystem::remove(src);
    }
    const std::string missing = dir.Path() + "/missing";
    EXPECT_TRUE(FailsWith(
        [&] { Sys_FileUtils::CreateRangeCopier(Sys_FileLoc(dst), 0, Sys_FileLoc(missing), 0, 10); },
        ENOENT));
    EXPECT_FALSE(Exists(missing));
}

TEST(Sys_FileUtils, CopyMoveAndDeleteTakeTheSidecarAlong)
{
    Test_TempDir dir;
    const std::string a = dir.Path() + "/a", b = dir.Path() + "/b";
    std::filesystem::create_directories(a);
    WriteBytes(a + "/Loop.aif", "audio");
    WriteBytes(a + "/._Loop.aif", AppleDouble("AIFF", "MDul", 3));

    Sys_FileUtils::CreateFolder(Sys_FileLoc(b + "/deep/er"));
    const Sys_FileLoc copied =
        Sys_FileUtils::CopyFileHandleDuplicateNames(Sys_FileLoc(a + "/Loop.aif"), Sys_FileLoc(b));
    EXPECT_EQ(copied.GetFullPath(), b + "/Loop.aif");
    EXPECT_EQ(ReadBytes<std::string>(b + "/._Loop.aif"), ReadBytes<std::string>(a + "/._Loop.aif"));
    EXPECT_EQ(
        Sys_FileUtils::CopyFileHandleDuplicateNames(Sys_FileLoc(a + "/Loop.aif"), Sys_FileLoc(b))
            .GetName(),
        "Loop.1.aif");

    EXPECT_TRUE(
        FailsWith([&] { Sys_FileUtils::MoveFile(Sys_FileLoc(a + "/Loop.aif"), copied); }, EEXIST));
    Sys_FileUtils::MoveFile(Sys_FileLoc(a + "/Loop.aif"), Sys_FileLoc(b + "/deep/Moved.aif"));
    EXPECT_FALSE(Exists(a + "/Loop.aif"));
    EXPECT_FALSE(Exists(a + "/._Loop.aif"));
    EXPECT_EQ(ReadBytes<std::string>(b + "/deep/Moved.aif"), "audio");
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
    EXPECT_EQ(ReadBytes<std::string>(a + ".1/deep/Moved.aif"), "audio");
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
    const std::string p = dir.Path(), midi = AppleDouble("MIDI", "MDul", 0);
    const std::tuple<const char*, std::string, Sys_FileType> files[] = {
        {"Groove", midi, Tarn_FileTypes::cMIDIFileType},
        {"notes.txt", midi, Tarn_FileTypes::cTextFileType},
        {"Liar", AppleDouble("MIDI", "MDul", 0, true), Sys_FileType::cUnknown},
        {"Short", midi.substr(0, 40), Sys_FileType::cUnknown},
        {"Bare", "", Sys_FileType::cUnknown}};
    for (const auto& [name, sidecar, type] : files)
    {
        WriteBytes(p + "/" + name, "x");
        if (!sidecar.empty())
            WriteBytes(p + "/._" + name, sidecar);
        EXPECT_EQ(Sys_FileUtils::GetFileType(Sys_FileLoc(p + "/" + name)), type) << name;
    }
    EXPECT_EQ(Sys_FileUtils::GetFileType(Sys_FileLoc(p + "/missing")), Sys_FileType::cUnknown);
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
