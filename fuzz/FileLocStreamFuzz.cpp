// Fuzz target: the stream form of a location ("SFL") over in-memory input.
//
// Input: one byte whose low bit picks the byte order (0 little-endian, 1 big-endian), then
// up to four stream forms one after the other. The target installs a mount table of its
// own (identifier 0x524F4F54 at "/", 0x4D495241 at "/fuzz/vol"), so that stored locations
// resolve without touching the host's mounts. The seeds in fuzz/seeds/FileLocStreamFuzz/
// are written by tests/Sys/Sys_FileLocTest.cpp (WritesFuzzSeeds).
//
// Expected failures are the library's own: L10N exceptions (magic, version, lying sizes and
// counts, bad components, unmounted volumes) and assertion failures. A crash, a leak, a huge
// allocation or any other exception is a finding.
#include <cstddef>
#include <cstdint>

#include "Cmn_Assert.h"
#include "Cmn_Exception.h"
#include "Cmn_MemBufferStream.h"
#include "Sys_FileLoc.h"
#include "Sys_TypedStream.h"
#include "Sys_VolumePosix.h"

namespace
{
volatile size_t gSink;

void InstallMounts()
{
    static const bool sDone = []
    {
        Sys_VolumePosix::MountEntry root;
        root.mID = 0x524F4F54;
        root.mMountPoint = "/";
        root.mFileSystemName = "ext4";
        Sys_VolumePosix::MountEntry moved = root;
        moved.mID = 0x4D495241;
        moved.mMountPoint = "/fuzz/vol";
        Sys_VolumePosix::SetMountTable({root, moved});
        return true;
    }();
    (void)sDone;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    InstallMounts();
    Cmn_MemBufferInStream mem(data + 1, data + size);
    Sys_TypedInStream in(&mem, (data[0] & 1) != 0);
    for (int i = 0; i < 4 && in.GetPos() < in.GetEndPos(); ++i)
    {
        try
        {
            Sys_FileLoc loc;
            loc.StreamIn(in);
            gSink = gSink + loc.GetFullPath().size() + loc.GetName().size();
        }
        catch (const Cmn_Exception&)
        {
            // Unmounted volumes leave the stream after their block; anything else may not.
            if (in.GetPos() >= in.GetEndPos())
                break;
        }
        catch (const Cmn_AssertException&)
        {
            break;
        }
    }
    return 0;
}
