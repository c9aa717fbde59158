#include "Sys_FileJournal.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Sys_OSErrData.h"

namespace
{
std::atomic<Sys_FileJournal::FaultHook> sFaultHook{nullptr};
std::atomic<int64_t> sMemoryBound{Sys_FileJournal::cMemoryBound};
std::atomic<size_t> sBlockSize{Sys_FileJournal::cBlockSize};

int32_t Fault(Sys_FileJournal::EOperation iOperation)
{
    const Sys_FileJournal::FaultHook hook = sFaultHook.load();
    return hook ? hook(iOperation) : 0;
}

void ThrowIf(int32_t iError, const std::string& iPath)
{
    if (iError != 0)
        Sys_ThrowIfOSErr(iError, iPath);
}

// The whole of [iData, iData + iSize) at iOffset, or an error.
int32_t WriteAll(int iFD, const unsigned char* iDataP, size_t iSize, int64_t iOffset)
{
    if (const int32_t fault = Fault(Sys_FileJournal::eOperation_Write))
        return fault;
    while (iSize > 0)
    {
        const ssize_t done = ::pwrite(iFD, iDataP, iSize, off_t(iOffset));
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            return done < 0 ? errno : EIO;
        iDataP += done;
        iSize -= size_t(done);
        iOffset += done;
    }
    return 0;
}

// Reads up to iSize bytes at iOffset; *oCountP gets how many there were before the end.
int32_t ReadAll(int iFD, unsigned char* oDataP, size_t iSize, int64_t iOffset, size_t* oCountP)
{
    *oCountP = 0;
    if (const int32_t fault = Fault(Sys_FileJournal::eOperation_Read))
        return fault;
    while (*oCountP < iSize)
    {
        const ssize_t done =
            ::pread(iFD, oDataP + *oCountP, iSize - *oCountP, off_t(iOffset + int64_t(*oCountP)));
        if (done < 0 && errno == EINTR)
            continue;
        if (done < 0)
            return errno;
        if (done == 0)
            break;
        *oCountP += size_t(done);
    }
    return 0;
}

int32_t Sync(int iFD)
{
    if (const int32_t fault = Fault(Sys_FileJournal::eOperation_Sync))
        return fault;
    return ::fsync(iFD) == 0 ? 0 : errno;
}

std::string FolderOf(const std::string& iPath)
{
    const size_t slash = iPath.rfind('/');
    return slash == std::string::npos ? std::string(".") : iPath.substr(0, slash ? slash : 1);
}

int32_t SyncFolder(const std::string& iPath)
{
    const int fd = ::open(FolderOf(iPath).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    const int32_t error = Sync(fd);
    ::close(fd);
    return error;
}

void CloseFD(int& ioFD)
{
    if (ioFD >= 0)
        ::close(ioFD);
    ioFD = -1;
}

template <class T> void Put(std::vector<unsigned char>& ioImage, T iValue)
{
    for (size_t i = 0; i < sizeof(T); ++i)
        ioImage.push_back(static_cast<unsigned char>(uint64_t(iValue) >> (8 * i)));
}

template <class T> T Get(const unsigned char* iDataP)
{
    uint64_t value = 0;
    for (size_t i = sizeof(T); i-- > 0;)
        value = (value << 8) | iDataP[i];
    return static_cast<T>(value);
}

// iSize bytes at iFrom of iFromFD to iTo of iToFD, in blocks; *ioSumP (when given) sums
// them.
int32_t CopyRange(int iFromFD, int64_t iFrom, int iToFD, int64_t iTo, int64_t iSize,
                  Sys_FileJournal::Checksummer* ioSumP)
{
    std::vector<unsigned char> buffer(size_t(std::min<int64_t>(iSize, int64_t(sBlockSize.load()))));
    for (int64_t done = 0; done < iSize;)
    {
        const size_t count = size_t(std::min<int64_t>(iSize - done, int64_t(buffer.size())));
        size_t got = 0;
        if (const int32_t error = ReadAll(iFromFD, buffer.data(), count, iFrom + done, &got))
            return error;
        if (got != count)
            return EIO;
        if (ioSumP)
            ioSumP->Add(buffer.data(), count);
        if (const int32_t error = WriteAll(iToFD, buffer.data(), count, iTo + done))
            return error;
        done += int64_t(count);
    }
    return 0;
}

// The old bytes back in place (from memory, or from the journal at iJournalFD), the old
// length, then a sync.
int32_t RollBack(int iFD, const Sys_FileJournal::Contents& iContents, int iJournalFD)
{
    for (const Sys_FileJournal::Region& region : iContents.mRegions)
        if (const int32_t error =
                iJournalFD >= 0
                    ? CopyRange(iJournalFD, region.mJournalOffset, iFD, region.mOffset,
                                region.mLength, nullptr)
                    : WriteAll(iFD, region.mBytes.data(), region.mBytes.size(), region.mOffset))
            return error;
    if (const int32_t fault = Fault(Sys_FileJournal::eOperation_Write))
        return fault;
    if (::ftruncate(iFD, off_t(iContents.mOldLength)) != 0)
        return errno;
    return Sync(iFD);
}

// The header and the region table of a journal of iSize bytes read through iRead(offset,
// buffer, size) (an error, EIO when short), checked by 4 of the design note; the regions get
// their places in the journal, not their bytes. *oWholeP tells whether it is whole.
template <class ReadAt>
int32_t Scan(ReadAt&& iRead, int64_t iSize, int64_t iFileLength,
             Sys_FileJournal::Contents* oContentsP, bool* oWholeP)
{
    using J = Sys_FileJournal;
    *oWholeP = false;
    *oContentsP = J::Contents();
    if (iSize < int64_t(J::cHeaderSizeV1 + J::cChecksumSize))
        return 0;
    unsigned char header[J::cHeaderSize];
    if (const int32_t error = iRead(0, header, J::cHeaderSizeV1))
        return error;
    const uint32_t version = Get<uint32_t>(header + 8);
    if (std::memcmp(header, J::cMagic, 8) != 0 || (version != 1 && version != 2))
        return 0;
    const int64_t headerSize = version == 1 ? J::cHeaderSizeV1 : J::cHeaderSize;
    const int64_t end = iSize - int64_t(J::cChecksumSize);
    if (end < headerSize)
        return 0;
    if (version == 2)
        if (const int32_t error = iRead(J::cHeaderSizeV1, header + J::cHeaderSizeV1,
                                        J::cHeaderSize - J::cHeaderSizeV1))
            return error;

    // The checksum first: a torn journal is not looked into.
    J::Checksummer summer(version);
    std::vector<unsigned char> buffer(size_t(std::min<int64_t>(end, int64_t(sBlockSize.load()))));
    for (int64_t p = 0; p < end;)
    {
        const size_t count = size_t(std::min<int64_t>(end - p, int64_t(buffer.size())));
        if (const int32_t error = iRead(p, buffer.data(), count))
            return error;
        summer.Add(buffer.data(), count);
        p += int64_t(count);
    }
    unsigned char sum[J::cChecksumSize];
    if (const int32_t error = iRead(end, sum, J::cChecksumSize))
        return error;
    if (Get<uint64_t>(sum) != summer.Get())
        return 0;

    J::Contents contents;
    contents.mVersion = version;
    const uint32_t count = Get<uint32_t>(header + 12);
    contents.mOldLength = Get<int64_t>(header + 16);
    if (version == 2)
    {
        contents.mDevice = Get<uint64_t>(header + 24);
        contents.mInode = Get<uint64_t>(header + 32);
    }
    if (contents.mOldLength < 0 || count > J::cMaxRegions)
        return 0;
    int64_t p = headerSize;
    int64_t reach = 0;
    for (uint32_t i = 0; i < count; ++i)
    {
        unsigned char table[J::cRegionHeaderSize];
        if (end - p < int64_t(J::cRegionHeaderSize))
            return 0;
        if (const int32_t error = iRead(p, table, J::cRegionHeaderSize))
            return error;
        const int64_t offset = Get<int64_t>(table);
        const int64_t length = Get<int64_t>(table + 8);
        p += J::cRegionHeaderSize;
        if (offset < 0 || length <= 0 || offset > contents.mOldLength - length ||
            offset > iFileLength || length > end - p)
            return 0;
        contents.mRegions.push_back({offset, length, {}, p});
        p += length;
        reach = std::max(reach, offset + length);
    }
    if (p != end || contents.mOldLength > std::max(iFileLength, reach))
        return 0;
    *oContentsP = std::move(contents);
    *oWholeP = true;
    return 0;
}

// The journal up to its first region.
std::vector<unsigned char> Header(const Sys_FileJournal::Contents& iContents)
{
    std::vector<unsigned char> image(Sys_FileJournal::cMagic, Sys_FileJournal::cMagic + 8);
    Put<uint32_t>(image, iContents.mVersion);
    Put<uint32_t>(image, uint32_t(iContents.mRegions.size()));
    Put<int64_t>(image, iContents.mOldLength);
    if (iContents.mVersion != 1)
    {
        Put<uint64_t>(image, iContents.mDevice);
        Put<uint64_t>(image, iContents.mInode);
    }
    return image;
}

void RegionHeader(std::vector<unsigned char>& ioImage, const Sys_FileJournal::Region& iRegion)
{
    Put<int64_t>(ioImage, iRegion.mOffset);
    Put<int64_t>(ioImage, iRegion.mLength);
}
} // namespace

Sys_FileJournal::Sys_FileJournal(const std::string& iPath)
{
    char* real = ::realpath(iPath.c_str(), nullptr);
    if (!real)
        Sys_ThrowIfOSErr(errno, iPath);
    mPath = real;
    std::free(real);
    mJournalPath = JournalPath(mPath);
}

Sys_FileJournal::~Sys_FileJournal()
{
    CloseFD(mJournalFD);
    CloseFD(mFileFD);
}

std::string Sys_FileJournal::JournalPath(const std::string& iPath)
{
    const size_t slash = iPath.rfind('/');
    if (slash == std::string::npos)
        return "." + iPath + cSuffix;
    return iPath.substr(0, slash + 1) + "." + iPath.substr(slash + 1) + cSuffix;
}

std::string Sys_FileJournal::JournalContext() const
{
    return mPath + " (journal " + mJournalPath + ")";
}

void Sys_FileJournal::Add(int64_t iOffset, int64_t iLength)
{
    if (iOffset < 0 || iLength <= 0)
        return;
    mRegions.push_back({iOffset, std::min(iLength, INT64_MAX - iOffset), {}});
}

void Sys_FileJournal::Begin()
{
    if (IsBegun())
        return;
    mFileFD = ::open(mPath.c_str(), O_RDWR | O_CLOEXEC);
    struct stat info
    {
    };
    if (mFileFD < 0 || ::fstat(mFileFD, &info) != 0)
    {
        const int32_t error = errno;
        CloseFD(mFileFD);
        Sys_ThrowIfOSErr(error, mPath);
    }
    mOldLength = info.st_size;

    // Regions inside the old length, in order, merged.
    std::vector<Region> regions;
    for (const Region& region : mRegions)
        if (region.mOffset < mOldLength)
            regions.push_back(
                {region.mOffset, std::min(region.mLength, mOldLength - region.mOffset), {}});
    std::sort(regions.begin(), regions.end(),
              [](const Region& iA, const Region& iB) { return iA.mOffset < iB.mOffset; });
    Contents contents;
    contents.mOldLength = mOldLength;
    contents.mDevice = uint64_t(info.st_dev);
    contents.mInode = uint64_t(info.st_ino);
    int64_t total = 0;
    for (const Region& region : regions)
    {
        if (!contents.mRegions.empty())
        {
            Region& last = contents.mRegions.back();
            if (region.mOffset <= last.mOffset + last.mLength)
            {
                const int64_t length =
                    std::max(last.mLength, region.mOffset + region.mLength - last.mOffset);
                total += length - last.mLength;
                last.mLength = length;
                continue;
            }
        }
        contents.mRegions.push_back(region);
        total += region.mLength;
    }
    if (contents.mRegions.size() > cMaxRegions)
    {
        CloseFD(mFileFD);
        Sys_ThrowIfOSErr(E2BIG, mPath);
    }
    mStreamed = total > sMemoryBound.load();
    std::vector<unsigned char> image;
    if (!mStreamed)
    {
        for (Region& region : contents.mRegions)
        {
            region.mBytes.resize(size_t(region.mLength));
            size_t count = 0;
            int32_t error = ReadAll(mFileFD, region.mBytes.data(), region.mBytes.size(),
                                    region.mOffset, &count);
            if (error == 0 && count != region.mBytes.size())
                error = EIO;
            if (error != 0)
            {
                CloseFD(mFileFD);
                Sys_ThrowIfOSErr(error, mPath);
            }
        }
        image = Build(contents);
    }

    // The journal of a file with other names is found through any of them.
    mJournalPath = info.st_nlink > 1 ? IdentityJournalPath(mPath, contents.mDevice, contents.mInode)
                                     : JournalPath(mPath);
    // Created exclusively: a journal left by an earlier change is undone first. One that a
    // recovery removed between our create and our lock is made again.
    for (int32_t attempt = 0; mJournalFD < 0; ++attempt)
    {
        int fd = ::open(mJournalPath.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0 && errno == EEXIST && attempt < 2)
        {
            Recover(mPath);
            continue;
        }
        if (fd < 0)
        {
            const int32_t error = errno;
            CloseFD(mFileFD);
            Sys_ThrowIfOSErr(error, JournalContext());
        }
        struct stat journalInfo
        {
        };
        while (::flock(fd, LOCK_EX) != 0 && errno == EINTR)
        {
        }
        if (::fstat(fd, &journalInfo) != 0 || journalInfo.st_nlink == 0)
        {
            ::close(fd);
            if (attempt >= 2)
            {
                CloseFD(mFileFD);
                Sys_ThrowIfOSErr(EAGAIN, JournalContext());
            }
            continue;
        }
        mJournalFD = fd;
    }
    int32_t error = 0;
    if (!mStreamed)
        error = WriteAll(mJournalFD, image.data(), image.size(), 0);
    else
    {
        // Room for all of it first, so that a full disk stops the change here.
        int64_t size = int64_t(Header(contents).size() + cChecksumSize);
        for (const Region& region : contents.mRegions)
            size += int64_t(cRegionHeaderSize) + region.mLength;
        error = Fault(eOperation_Write);
        if (error == 0)
        {
            error = ::posix_fallocate(mJournalFD, 0, off_t(size));
            if (error == EOPNOTSUPP || error == EINVAL)
                error = 0;
        }
        std::vector<unsigned char> bytes = Header(contents);
        Checksummer summer(contents.mVersion);
        int64_t p = 0;
        for (size_t i = 0; error == 0 && i <= contents.mRegions.size(); ++i)
        {
            if (i < contents.mRegions.size())
                RegionHeader(bytes, contents.mRegions[i]);
            summer.Add(bytes.data(), bytes.size());
            if (i == contents.mRegions.size())
                Put<uint64_t>(bytes, summer.Get());
            error = WriteAll(mJournalFD, bytes.data(), bytes.size(), p);
            p += int64_t(bytes.size());
            bytes.clear();
            if (error == 0 && i < contents.mRegions.size())
            {
                Region& region = contents.mRegions[i];
                region.mJournalOffset = p;
                error = CopyRange(mFileFD, region.mOffset, mJournalFD, p, region.mLength, &summer);
                p += region.mLength;
            }
        }
    }
    if (error == 0)
        error = Sync(mJournalFD);
    if (error == 0)
        error = SyncFolder(mJournalPath);
    if (error != 0)
    {
        // The file is untouched: the journal goes.
        ::unlink(mJournalPath.c_str());
        CloseFD(mJournalFD);
        CloseFD(mFileFD);
        Sys_ThrowIfOSErr(error, JournalContext());
    }
    mRegions = std::move(contents.mRegions);
}

void Sys_FileJournal::Commit()
{
    if (!IsBegun())
        return;
    ThrowIf(Sync(mFileFD), mPath);
    if (::unlink(mJournalPath.c_str()) != 0)
        Sys_ThrowIfOSErr(errno, JournalContext());
    CloseFD(mJournalFD);
    CloseFD(mFileFD);
    mRegions.clear();
}

bool Sys_FileJournal::Undo() noexcept
{
    if (!IsBegun())
        return true;
    Contents contents;
    contents.mOldLength = mOldLength;
    contents.mRegions = std::move(mRegions);
    mRegions.clear();
    const bool done = RollBack(mFileFD, contents, mStreamed ? mJournalFD : -1) == 0 &&
                      ::unlink(mJournalPath.c_str()) == 0;
    CloseFD(mJournalFD);
    CloseFD(mFileFD);
    return done;
}

std::string Sys_FileJournal::IdentityJournalPath(const std::string& iPath, uint64_t iDevice,
                                                 uint64_t iInode)
{
    return FolderOf(iPath) + "/.mfjournal-" + std::to_string(iDevice) + "-" +
           std::to_string(iInode);
}

bool Sys_FileJournal::Recover(const std::string& iPath)
{
    std::string path = iPath;
    std::string journalPath = JournalPath(path);
    int journalFD = ::open(journalPath.c_str(), O_RDWR | O_CLOEXEC);
    struct stat fileInfo
    {
    };
    bool haveInfo = false;
    if (journalFD < 0)
    {
        if (errno != ENOENT)
            return false;
        struct stat info
        {
        };
        // Through a symbolic link, the journal stands beside the file it names.
        if (::lstat(iPath.c_str(), &info) == 0 && S_ISLNK(info.st_mode))
        {
            char* real = ::realpath(iPath.c_str(), nullptr);
            if (!real)
                return false;
            path = real;
            std::free(real);
            journalPath = JournalPath(path);
            journalFD = ::open(journalPath.c_str(), O_RDWR | O_CLOEXEC);
            if (journalFD < 0 && errno != ENOENT)
                return false;
        }
        // A file with other names: the journal named after its identity.
        if (journalFD < 0)
        {
            if (::stat(path.c_str(), &fileInfo) != 0 || fileInfo.st_nlink < 2)
                return false;
            haveInfo = true;
            journalPath = IdentityJournalPath(path, fileInfo.st_dev, fileInfo.st_ino);
            journalFD = ::open(journalPath.c_str(), O_RDWR | O_CLOEXEC);
            if (journalFD < 0)
                return false;
        }
    }
    struct stat journalInfo
    {
    };
    // A change that is under way holds the lock.
    if (::flock(journalFD, LOCK_EX | LOCK_NB) != 0 || ::fstat(journalFD, &journalInfo) != 0 ||
        journalInfo.st_nlink == 0)
    {
        ::close(journalFD);
        return false;
    }
    int fileFD = -1;
    int32_t error = 0;
    const std::string* failed = &journalPath;
    if (!haveInfo && ::stat(path.c_str(), &fileInfo) != 0)
    {
        // No file, nothing to roll back: the journal is stale.
        if (errno != ENOENT)
        {
            error = errno;
            failed = &path;
        }
    }
    else
    {
        const auto read = [journalFD](int64_t iOffset, unsigned char* oDataP, size_t iSize)
        {
            size_t count = 0;
            const int32_t readError = ReadAll(journalFD, oDataP, iSize, iOffset, &count);
            return readError != 0 ? readError : count == iSize ? 0 : EIO;
        };
        Contents contents;
        bool whole = false;
        error = Scan(read, journalInfo.st_size, fileInfo.st_size, &contents, &whole);
        // One named after an identity that is no longer the file's is stale.
        if (haveInfo && (contents.mDevice != uint64_t(fileInfo.st_dev) ||
                         contents.mInode != uint64_t(fileInfo.st_ino)))
            whole = false;
        if (error == 0 && whole)
        {
            fileFD = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
            error = fileFD < 0 ? errno : RollBack(fileFD, contents, journalFD);
            failed = &path;
        }
    }
    if (error == 0 && ::unlink(journalPath.c_str()) != 0)
        error = errno;
    CloseFD(fileFD);
    ::close(journalFD);
    ThrowIf(error, *failed);
    return true;
}

void Sys_FileJournal::Checksummer::Add(const unsigned char* iDataP, size_t iSize)
{
    constexpr uint64_t cPrime = 1099511628211ull;
    if (!mWords)
    {
        for (size_t i = 0; i < iSize; ++i)
            mHash = (mHash ^ iDataP[i]) * cPrime;
        return;
    }
    // A word begun by the last piece first, then whole words, then the start of the next.
    while (mCarried > 0 && iSize > 0)
    {
        mCarry[mCarried++] = *iDataP++;
        --iSize;
        if (mCarried == 8)
        {
            mHash = (mHash ^ ::Get<uint64_t>(mCarry)) * cPrime;
            mCarried = 0;
        }
    }
    for (; iSize >= 8; iDataP += 8, iSize -= 8)
    {
        uint64_t word = 0;
        if constexpr (std::endian::native == std::endian::little)
            std::memcpy(&word, iDataP, 8);
        else
            word = ::Get<uint64_t>(iDataP);
        mHash = (mHash ^ word) * cPrime;
    }
    for (; iSize > 0; --iSize)
        mCarry[mCarried++] = *iDataP++;
}

uint64_t Sys_FileJournal::Checksummer::Get() const
{
    if (mCarried == 0)
        return mHash;
    unsigned char last[8] = {};
    std::memcpy(last, mCarry, mCarried);
    return (mHash ^ ::Get<uint64_t>(last)) * 1099511628211ull;
}

uint64_t Sys_FileJournal::Checksum(const unsigned char* iDataP, size_t iSize, uint32_t iVersion)
{
    Checksummer summer(iVersion);
    summer.Add(iDataP, iSize);
    return summer.Get();
}

std::vector<unsigned char> Sys_FileJournal::Build(const Contents& iContents)
{
    std::vector<unsigned char> image = Header(iContents);
    for (const Region& region : iContents.mRegions)
    {
        Put<int64_t>(image, region.mOffset);
        Put<int64_t>(image, int64_t(region.mBytes.size()));
        image.insert(image.end(), region.mBytes.begin(), region.mBytes.end());
    }
    Put<uint64_t>(image, Checksum(image.data(), image.size(), iContents.mVersion));
    return image;
}

Sys_FileJournal::EState Sys_FileJournal::Parse(const unsigned char* iDataP, size_t iSize,
                                               int64_t iFileLength, Contents* oContentsP)
{
    const auto read = [iDataP, iSize](int64_t iOffset, unsigned char* oDataP, size_t iCount)
    {
        if (iOffset < 0 || uint64_t(iOffset) > iSize || iCount > iSize - size_t(iOffset))
            return int32_t(EIO);
        std::memcpy(oDataP, iDataP + iOffset, iCount);
        return int32_t(0);
    };
    bool whole = false;
    if (Scan(read, int64_t(iSize), iFileLength, oContentsP, &whole) != 0 || !whole)
    {
        *oContentsP = Contents();
        return eState_Torn;
    }
    for (Region& region : oContentsP->mRegions)
        region.mBytes.assign(iDataP + region.mJournalOffset,
                             iDataP + region.mJournalOffset + region.mLength);
    return eState_Whole;
}

void Sys_FileJournal::SetFaultHook(FaultHook iHook)
{
    sFaultHook = iHook;
}

void Sys_FileJournal::SetStreaming(int64_t iMemoryBound, size_t iBlockSize)
{
    sMemoryBound = iMemoryBound;
    sBlockSize = std::clamp<size_t>(iBlockSize, 1, cBlockSize);
}
