// Fuzz target: the undo journal of a change in place (Sys_FileJournal), parsed from memory and
// recovered beside a real file.
//
// The first byte of the input chooses the file: its length is (byte >> 1) * 16 bytes of a
// fixed pattern, and with bit 0 set the last 8 bytes of the journal get the right checksum of
// the rest, so that inputs reach the numbers behind the checksum. The rest is the journal. The
// seeds in fuzz/seeds/JournalFuzz/ are written by tests/Sys/Sys_FileJournalTest.cpp (run with
// MIRAFILE_WRITE_FUZZ_SEEDS=fuzz/seeds/JournalFuzz).
//
// Journals of both versions are read (with and without the file's identity). A whole journal
// must keep at most Sys_FileJournal::cMaxRegions regions, every one non-empty, inside the old
// length and starting inside the file, the old length must be reached by the file or the last
// region, and the journal must lay out again to the same bytes; recovery (which streams the
// journal in blocks, not as one image) must then leave the file rolled back exactly (a torn
// journal: untouched) and the journal gone. Only the library's own exceptions may leave
// recovery; then the file is untouched.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

#include "Cmn_Exception.h"
#include "Sys_FileJournal.h"

namespace
{
using Bytes = std::vector<unsigned char>;

// Made on first use and removed at exit; never destroyed, so that the exit handler finds it.
const std::string& Folder()
{
    static const std::string* sFolder = [] {
        const std::filesystem::path base = std::filesystem::exists("/dev/shm")
                                               ? std::filesystem::path("/dev/shm")
                                               : std::filesystem::temp_directory_path();
        const std::filesystem::path folder =
            base / ("mirafile-journal-fuzz-" + std::to_string(::getpid()));
        std::filesystem::create_directories(folder);
        std::atexit([] {
            std::error_code error;
            std::filesystem::remove_all(Folder(), error);
        });
        return new std::string(folder.string());
    }();
    return *sFolder;
}

void Write(const std::string& iPath, const Bytes& iBytes)
{
    std::ofstream(iPath, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(iBytes.data()), std::streamsize(iBytes.size()));
}

Bytes Read(const std::string& iPath)
{
    std::ifstream in(iPath, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    Bytes journal(data + 1, data + size);
    if ((data[0] & 1) && journal.size() >= 8)
    {
        // Summed as the journal's version (at byte 8) asks.
        const uint32_t version =
            journal.size() >= 12
                ? journal[8] | journal[9] << 8 | journal[10] << 16 | uint32_t(journal[11]) << 24
                : Sys_FileJournal::cVersion;
        const uint64_t sum = Sys_FileJournal::Checksum(journal.data(), journal.size() - 8, version);
        for (size_t i = 0; i < 8; ++i)
            journal[journal.size() - 8 + i] = static_cast<unsigned char>(sum >> (8 * i));
    }
    Bytes file(size_t(data[0] >> 1) * 16);
    for (size_t i = 0; i < file.size(); ++i)
        file[i] = static_cast<unsigned char>(i * 13 + 5);

    Sys_FileJournal::Contents contents;
    const bool whole = Sys_FileJournal::Parse(journal.data(), journal.size(), int64_t(file.size()),
                                              &contents) == Sys_FileJournal::eState_Whole;
    Bytes expected = file;
    if (whole)
    {
        int64_t reach = 0;
        if (contents.mRegions.size() > Sys_FileJournal::cMaxRegions)
            std::abort();
        for (const Sys_FileJournal::Region& region : contents.mRegions)
        {
            if (region.mOffset < 0 || region.mLength <= 0 ||
                region.mOffset > int64_t(file.size()) ||
                region.mOffset + region.mLength > contents.mOldLength ||
                int64_t(region.mBytes.size()) != region.mLength)
                std::abort();
            reach = std::max(reach, region.mOffset + region.mLength);
        }
        if (contents.mOldLength > std::max(int64_t(file.size()), reach) ||
            Sys_FileJournal::Build(contents) != journal)
            std::abort();
        expected.resize(size_t(std::max(int64_t(file.size()), reach)));
        for (const Sys_FileJournal::Region& region : contents.mRegions)
            std::copy(region.mBytes.begin(), region.mBytes.end(), expected.begin() + region.mOffset);
        expected.resize(size_t(contents.mOldLength));
    }

    const std::string path = Folder() + "/take";
    const std::string journalPath = Sys_FileJournal::JournalPath(path);
    Write(path, file);
    Write(journalPath, journal);
    bool thrown = false;
    try
    {
        if (!Sys_FileJournal::Recover(path))
            std::abort(); // a journal stood, unlocked
    }
    catch (const Cmn_Exception&)
    {
        thrown = true;
    }
    if (thrown ? Read(path) != file
               : Read(path) != expected || std::filesystem::exists(journalPath))
        std::abort();
    std::filesystem::remove(journalPath);
    return 0;
}
