// Recovery of WAVE and AIFF recordings whose sizes do not match the file: a recording cut off
// by a crash or a full disk, or one whose header was never finalised.
//
// The readers refuse such files (a data chunk larger than the file is a broken file); repair
// is a separate, explicit step. Examine walks the chunks leniently and finds:
//  - the chunk that gives the frame size ("fmt " of a WAVE, "COMM" of an AIFF or AIFC), which
//    must stand before the samples;
//  - the samples ("data", "SSND"): when their stored size is 0, 0xFFFFFFFF or reaches past the
//    end of the file, they run to the end of the file;
//  - the whole chunks after the samples; a chunk cut off by the end of the file, or bytes that
//    are not a chunk header, end the walk.
// The repaired file is the original's first bytes up to the end of the last whole frame or
// whole chunk kept, with its sizes rewritten (the form size, the sample chunk's size and, in an
// AIFF, the frame count of "COMM") and a zero pad byte where the sample bytes are odd. Every
// whole sample frame that is there is kept; the bytes of a partial frame or of a cut-off chunk
// are dropped.
//
// Nothing here changes a file it does not understand: a file that is not RIFF/WAVE or
// FORM/AIFF/AIFC, that has no format chunk before its samples, whose samples are compressed,
// or whose frame size is 0 throws std::runtime_error with one line, before anything is
// written.
//
// Safety: WriteRepairedCopy writes the copy under a temporary name and renames it when whole
// (Sys_AtomicOutput); the original is only read. RepairInPlace first writes a backup of every
// byte it will change (the header up to the samples and the dropped tail; see Backup below),
// synced, and only then patches the sizes and truncates the file.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Sys_FileLoc.h"

class FF_AudioFileRepair
{
public:
    // What Examine found.
    struct Report
    {
        std::string mFormat; // "WAVE", "AIFF" or "AIFC"
        int64_t mFileSize = 0;
        int64_t mDataOffset = 0;      // first sample byte
        int64_t mStoredDataBytes = 0; // the sample bytes the header claims
        int64_t mFrameBytes = 0;
        int64_t mFrames = 0;                     // whole frames present, all kept
        int64_t mStoredFrames = -1;              // an AIFF's "COMM" frame count; -1 for WAVE
        int64_t mPartialBytes = 0;               // bytes of a partial last frame, dropped
        int64_t mKeptEnd = 0;                    // the kept bytes of the original: [0, mKeptEnd)
        int64_t mRepairedSize = 0;               // mKeptEnd plus a pad byte where needed
        std::vector<std::string> mDroppedChunks; // "'LIST' at 1234 (cut off)", ...
        std::vector<std::string> mFindings;      // one line each; empty when nothing is wrong

        bool NeedsRepair() const { return !mFindings.empty(); }
    };

    // Progress: bytes done and total; false cancels (Cmn_CancelException).
    using ProgressMethod = std::function<bool(int64_t iDone, int64_t iTotal)>;

    static Report Examine(const Sys_FileLoc& iFile);

    // Writes the repaired file to iDest (which must not exist); returns what was found.
    static Report WriteRepairedCopy(const Sys_FileLoc& iFile, const Sys_FileLoc& iDest,
                                    const ProgressMethod& iProgress = {});

    // Repairs iFile in place after writing iBackup (which must not exist). A file that needs
    // nothing is left as it is and no backup is written.
    static Report RepairInPlace(const Sys_FileLoc& iFile, const Sys_FileLoc& iBackup);

    // The backup of an in-place repair, all numbers big-endian:
    //   "MFREPAIR" (8 bytes), header length H (8), tail offset T (8), tail length L (8),
    //   the original's bytes [0, H), then its bytes [T, T + L).
    // The original is the backup's header, then the repaired file's bytes [H, T), then the tail.
    static constexpr char cBackupMagic[9] = "MFREPAIR";
    static void RestoreFromBackup(const Sys_FileLoc& iRepaired, const Sys_FileLoc& iBackup,
                                  const Sys_FileLoc& iDest);
};
