#include "FF/Audio/PlugIns/FF_AudioFileRepair.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "Cmn_Exception.h"
#include "FF/Audio/PlugIns/FF_AudioMetadataChunks.h"
#include "Sys_AtomicOutput.h"
#include "Sys_File.h"
#include "Sys_FileUtils.h"

namespace
{
constexpr int64_t cBlockBytes = 1 << 20;

// One size field to rewrite: its offset, width (4 bytes) and the new value.
struct Patch
{
    int64_t mOffset;
    uint32_t mValue;
};

struct Layout
{
    FF_AudioFileRepair::Report mReport;
    EByteOrder mOrder = eByteOrder_Little;
    std::vector<Patch> mPatches;
};

std::string Quoted(const unsigned char* iID)
{
    std::string text = "'";
    for (int i = 0; i < 4; ++i)
        text += (iID[i] >= 0x20 && iID[i] < 0x7F) ? char(iID[i]) : '?';
    return text + "'";
}

bool IsChunkID(const unsigned char* iID)
{
    for (int i = 0; i < 4; ++i)
        if (iID[i] < 0x20 || iID[i] > 0x7E)
            return false;
    return true;
}

class Reader
{
public:
    explicit Reader(const Sys_FileLoc& iLoc) : mFile(iLoc)
    {
        mFile.Open(Sys_File::eOpen_ForRead);
        mSize = mFile.GetEOF();
    }
    ~Reader()
    {
        if (mFile.IsOpen())
            mFile.Close();
    }
    int64_t Size() const { return mSize; }
    // Reads iCount bytes at iOffset; false when the file ends first.
    bool ReadAt(int64_t iOffset, void* oP, int64_t iCount)
    {
        if (iOffset < 0 || iOffset + iCount > mSize)
            return false;
        mFile.SetPosition(Sys_File::eOffsetFrom_Start, iOffset);
        return mFile.Read(oP, iCount) == iCount;
    }
    Sys_File& File() { return mFile; }

private:
    Sys_File mFile;
    int64_t mSize = 0;
};

// Whether iPos is the end of the file or starts a whole chunk.
bool ChunkFollows(Reader& iIn, int64_t iPos, EByteOrder iOrder)
{
    unsigned char chunk[8];
    if (iPos == iIn.Size())
        return true;
    if (!iIn.ReadAt(iPos, chunk, 8) || !IsChunkID(chunk))
        return false;
    return iPos + 8 + int64_t(FF_GetNumber<uint32_t>(chunk + 4, iOrder)) <= iIn.Size();
}

[[noreturn]] void NotUnderstood(const Sys_FileLoc& iLoc, const std::string& iWhy)
{
    throw std::runtime_error("\"" + iLoc.GetFullPath() + "\": " + iWhy + "; left as it is");
}

// The chunk walk shared by both forms. iFormatChunk reads the frame size (and, for AIFF, the
// stored frame count) from the format chunk's body; the samples chunk's body starts after
// iSampleSkip bytes (an AIFF's offset and block size).
Layout Walk(const Sys_FileLoc& iLoc)
{
    Reader in(iLoc);
    Layout layout;
    FF_AudioFileRepair::Report& r = layout.mReport;
    r.mFileSize = in.Size();
    unsigned char head[12];
    if (!in.ReadAt(0, head, 12))
        NotUnderstood(iLoc, "too short to be a WAVE or AIFF file");
    bool aiff = false;
    if (std::memcmp(head, "RIFF", 4) == 0 && std::memcmp(head + 8, "WAVE", 4) == 0)
        r.mFormat = "WAVE";
    else if (std::memcmp(head, "FORM", 4) == 0 &&
             (std::memcmp(head + 8, "AIFF", 4) == 0 || std::memcmp(head + 8, "AIFC", 4) == 0))
    {
        aiff = true;
        r.mFormat = std::memcmp(head + 8, "AIFF", 4) == 0 ? "AIFF" : "AIFC";
        layout.mOrder = eByteOrder_Big;
    }
    else
        NotUnderstood(iLoc, "not a WAVE or AIFF file");
    const EByteOrder order = layout.mOrder;
    const auto get32 = [order](const unsigned char* p) { return FF_GetNumber<uint32_t>(p, order); };
    const int64_t storedForm = int64_t(get32(head + 4));
    // Bytes after the end of a form that holds its samples are not the form's: what is not a
    // whole chunk there ends the walk without a finding.
    bool sawSamples = false;
    int64_t samplesEnd = -1; // the end of the samples chunk's bytes, before its pad byte
    bool samplesOdd = false; // whether that chunk's size is odd (so a pad byte follows)
    const auto pastForm = [&](int64_t iPos)
    { return sawSamples && storedForm + 8 >= r.mKeptEnd && iPos >= storedForm + 8; };

    int64_t commOffset = -1; // the frame count field of "COMM"
    int64_t pos = 12;
    while (pos + 8 <= r.mFileSize)
    {
        unsigned char chunk[8];
        in.ReadAt(pos, chunk, 8);
        if (!IsChunkID(chunk))
        {
            if (pastForm(pos))
                break;
            r.mDroppedChunks.push_back("bytes at " + std::to_string(pos) + " (not a chunk)");
            break;
        }
        const int64_t size = int64_t(get32(chunk + 4));
        const int64_t body = pos + 8;
        const bool isSamples = std::memcmp(chunk, aiff ? "SSND" : "data", 4) == 0;
        const bool isFormat = std::memcmp(chunk, aiff ? "COMM" : "fmt ", 4) == 0;
        if (isSamples && !sawSamples)
        {
            if (r.mFrameBytes == 0)
                NotUnderstood(iLoc, "no format chunk before the samples");
            int64_t skip = 0;
            if (aiff)
            {
                unsigned char ssnd[8];
                if (!in.ReadAt(body, ssnd, 8))
                    NotUnderstood(iLoc, "the sound data chunk is cut off in its header");
                skip = 8 + int64_t(get32(ssnd));
                if (body + skip > r.mFileSize)
                    NotUnderstood(iLoc, "the sound data chunk's offset lies past the end");
                if (size != 0 && size < skip)
                    NotUnderstood(iLoc, "the sound data chunk is shorter than its offset");
            }
            r.mDataOffset = body + skip;
            r.mStoredDataBytes = std::max<int64_t>(0, size - skip);
            // A size of 0 is a writer's placeholder unless a chunk or the end follows.
            const bool placeholder =
                size == 0xFFFFFFFF || (size == 0 && !ChunkFollows(in, body, order));
            const bool runsOn = placeholder || body + size > r.mFileSize;
            const int64_t available = runsOn ? r.mFileSize - r.mDataOffset : r.mStoredDataBytes;
            r.mFrames = available / r.mFrameBytes;
            sawSamples = true;
            if (!runsOn)
            {
                // A whole samples chunk stays as it is, odd bytes at its end included.
                samplesEnd = body + size;
                samplesOdd = size & 1;
                pos = body + size + (size & 1);
                r.mKeptEnd = std::min(pos, r.mFileSize);
                continue;
            }
            r.mPartialBytes = available % r.mFrameBytes;
            const int64_t dataBytes = r.mFrames * r.mFrameBytes;
            if (placeholder)
                r.mFindings.push_back("the sample data size is " + std::to_string(size) +
                                      " (never finalised); the samples run to the end");
            else
                r.mFindings.push_back("the sample data claims " +
                                      std::to_string(r.mStoredDataBytes) +
                                      " bytes, but the file holds " + std::to_string(available));
            if (r.mPartialBytes)
                r.mFindings.push_back("a partial last frame of " + std::to_string(r.mPartialBytes) +
                                      " bytes is dropped");
            layout.mPatches.push_back({pos + 4, uint32_t(skip + dataBytes)});
            r.mKeptEnd = r.mDataOffset + dataBytes;
            samplesEnd = r.mKeptEnd;
            samplesOdd = (skip + dataBytes) & 1;
            break;
        }
        if (body + size > r.mFileSize)
        {
            if (pastForm(pos))
                break;
            r.mDroppedChunks.push_back(Quoted(chunk) + " at " + std::to_string(pos) + " (cut off)");
            break;
        }
        if (isFormat && r.mFrameBytes == 0)
        {
            unsigned char fmt[26] = {};
            if (!in.ReadAt(body, fmt, std::min<int64_t>(size, 26)) || size < (aiff ? 18 : 16))
                NotUnderstood(iLoc, "the format chunk is too short");
            if (aiff)
            {
                const int64_t channels = FF_GetNumber<uint16_t>(fmt, order);
                const int64_t bits = FF_GetNumber<uint16_t>(fmt + 6, order);
                if (r.mFormat == "AIFC")
                {
                    if (size < 22)
                        NotUnderstood(iLoc, "the format chunk is too short");
                    const bool pcm = std::memcmp(fmt + 18, "NONE", 4) == 0 ||
                                     std::memcmp(fmt + 18, "twos", 4) == 0 ||
                                     std::memcmp(fmt + 18, "sowt", 4) == 0;
                    if (!pcm)
                        NotUnderstood(iLoc, "compressed samples (" + Quoted(fmt + 18) + ")");
                }
                r.mFrameBytes = channels * ((bits + 7) / 8);
                r.mStoredFrames = FF_GetNumber<uint32_t>(fmt + 2, order);
                commOffset = body + 2;
            }
            else
            {
                const uint16_t tag = FF_GetNumber<uint16_t>(fmt, order);
                if (tag != 1 && tag != 3 && tag != 0xFFFE)
                    NotUnderstood(iLoc, "compressed samples (format " + std::to_string(tag) + ")");
                r.mFrameBytes = FF_GetNumber<uint16_t>(fmt + 12, order);
            }
            if (r.mFrameBytes <= 0)
                NotUnderstood(iLoc, "the format chunk gives a frame size of 0");
        }
        pos = body + size + (size & 1);
        r.mKeptEnd = std::min(pos, r.mFileSize);
    }
    if (!sawSamples)
        NotUnderstood(iLoc, r.mFrameBytes ? "no sample data" : "no format and sample data");
    if (!r.mDroppedChunks.empty())
        r.mFindings.push_back("dropped: " + r.mDroppedChunks.front() +
                              (r.mDroppedChunks.size() > 1 ? " and more" : ""));

    // An odd number of sample bytes that ends the kept part gets its pad byte back.
    r.mRepairedSize = r.mKeptEnd + ((r.mKeptEnd == samplesEnd && samplesOdd) ? 1 : 0);
    if (storedForm != r.mRepairedSize - 8)
    {
        if (r.mFindings.empty())
            r.mFindings.push_back("the form size is " + std::to_string(storedForm) +
                                  ", the file holds " + std::to_string(r.mRepairedSize - 8));
        layout.mPatches.push_back({4, uint32_t(r.mRepairedSize - 8)});
    }
    if (aiff && r.mStoredFrames != r.mFrames)
    {
        r.mFindings.push_back("the format chunk counts " + std::to_string(r.mStoredFrames) +
                              " frames, the samples hold " + std::to_string(r.mFrames));
        layout.mPatches.push_back({commOffset, uint32_t(r.mFrames)});
    }
    if (r.mRepairedSize - 8 > int64_t(UINT32_MAX))
        NotUnderstood(iLoc, "the samples are larger than a form of 4 GB holds");
    return layout;
}

void ApplyPatches(Sys_File& ioFile, const Layout& iLayout, int64_t iPadAt)
{
    for (const Patch& patch : iLayout.mPatches)
    {
        unsigned char bytes[4];
        FF_PutNumber<uint32_t>(bytes, patch.mValue, iLayout.mOrder);
        ioFile.SetPosition(Sys_File::eOffsetFrom_Start, patch.mOffset);
        FF_WriteExact(&ioFile, bytes, 4);
    }
    if (iPadAt >= 0)
    {
        const unsigned char zero = 0;
        ioFile.SetPosition(Sys_File::eOffsetFrom_Start, iPadAt);
        FF_WriteExact(&ioFile, &zero, 1);
    }
}

// Copies iCount bytes at iFrom of iIn to the position of iOut.
void CopyBytes(Sys_File& iIn, int64_t iFrom, int64_t iCount, Sys_File& ioOut,
               const FF_AudioFileRepair::ProgressMethod& iProgress, int64_t iTotal)
{
    std::vector<unsigned char> block(
        size_t(std::min<int64_t>(cBlockBytes, std::max<int64_t>(iCount, 1))));
    iIn.SetPosition(Sys_File::eOffsetFrom_Start, iFrom);
    for (int64_t done = 0; done < iCount;)
    {
        const int64_t n = std::min<int64_t>(int64_t(block.size()), iCount - done);
        FF_ReadExact(&iIn, block.data(), n);
        FF_WriteExact(&ioOut, block.data(), n);
        done += n;
        if (iProgress && !iProgress(done, iTotal))
            throw Cmn_CancelException();
    }
}

void WriteBigEndian64(unsigned char* oP, int64_t iValue)
{
    FF_PutNumber<uint64_t>(oP, uint64_t(iValue), eByteOrder_Big);
}
} // namespace

FF_AudioFileRepair::Report FF_AudioFileRepair::Examine(const Sys_FileLoc& iFile)
{
    return Walk(iFile).mReport;
}

FF_AudioFileRepair::Report FF_AudioFileRepair::WriteRepairedCopy(const Sys_FileLoc& iFile,
                                                                 const Sys_FileLoc& iDest,
                                                                 const ProgressMethod& iProgress)
{
    const Layout layout = Walk(iFile);
    const Report& r = layout.mReport;
    Sys_StAtomicOutput output(iDest);
    {
        Reader in(iFile);
        Sys_File out(output.GetTempLoc());
        out.Open(Sys_File::eOpen_ForWrite | Sys_File::eOpen_Existing);
        CopyBytes(in.File(), 0, r.mKeptEnd, out, iProgress, r.mKeptEnd);
        ApplyPatches(out, layout, r.mRepairedSize > r.mKeptEnd ? r.mKeptEnd : -1);
        out.Close();
    }
    output.Commit();
    return r;
}

FF_AudioFileRepair::Report FF_AudioFileRepair::RepairInPlace(const Sys_FileLoc& iFile,
                                                             const Sys_FileLoc& iBackup)
{
    const Layout layout = Walk(iFile);
    const Report& r = layout.mReport;
    if (!r.NeedsRepair())
        return r;
    {
        // Everything that changes: the header up to the samples (the patched sizes stand
        // there) and the tail that goes.
        Reader in(iFile);
        Sys_StAtomicOutput output(iBackup);
        Sys_File backup(output.GetTempLoc());
        backup.Open(Sys_File::eOpen_ForWrite | Sys_File::eOpen_Existing);
        unsigned char head[32];
        std::memcpy(head, cBackupMagic, 8);
        const int64_t tail = r.mFileSize - r.mKeptEnd;
        WriteBigEndian64(head + 8, r.mDataOffset);
        WriteBigEndian64(head + 16, r.mKeptEnd);
        WriteBigEndian64(head + 24, tail);
        FF_WriteExact(&backup, head, 32);
        CopyBytes(in.File(), 0, r.mDataOffset, backup, {}, 0);
        CopyBytes(in.File(), r.mKeptEnd, tail, backup, {}, 0);
        backup.Close();
        output.Commit();
    }
    Sys_File file(iFile);
    file.Open(Sys_File::eOpen_ForWrite | Sys_File::eOpen_ForRead | Sys_File::eOpen_Existing |
              Sys_File::eOpen_WriteThrough);
    if (r.mKeptEnd < r.mFileSize)
        file.SetEOF(r.mKeptEnd);
    ApplyPatches(file, layout, r.mRepairedSize > r.mKeptEnd ? r.mKeptEnd : -1);
    file.Close();
    return r;
}

void FF_AudioFileRepair::RestoreFromBackup(const Sys_FileLoc& iRepaired, const Sys_FileLoc& iBackup,
                                           const Sys_FileLoc& iDest)
{
    Reader backup(iBackup);
    unsigned char head[32];
    if (!backup.ReadAt(0, head, 32) || std::memcmp(head, cBackupMagic, 8) != 0)
        NotUnderstood(iBackup, "not a repair backup");
    const auto header = int64_t(FF_GetNumber<uint64_t>(head + 8, eByteOrder_Big));
    const auto tailAt = int64_t(FF_GetNumber<uint64_t>(head + 16, eByteOrder_Big));
    const auto tail = int64_t(FF_GetNumber<uint64_t>(head + 24, eByteOrder_Big));
    Reader repaired(iRepaired);
    if (header < 0 || tail < 0 || tailAt < header || header > backup.Size() ||
        tail != backup.Size() - 32 - header || tailAt > repaired.Size())
        NotUnderstood(iBackup, "the backup does not fit \"" + iRepaired.GetFullPath() + "\"");
    Sys_StAtomicOutput output(iDest);
    {
        Sys_File out(output.GetTempLoc());
        out.Open(Sys_File::eOpen_ForWrite | Sys_File::eOpen_Existing);
        CopyBytes(backup.File(), 32, header, out, {}, 0);
        CopyBytes(repaired.File(), header, tailAt - header, out, {}, 0);
        CopyBytes(backup.File(), 32 + header, tail, out, {}, 0);
        out.Close();
    }
    output.Commit();
}
