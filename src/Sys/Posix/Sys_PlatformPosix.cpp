// Fills the creation hooks of the portable layer with the Posix classes (see Sys_Platform.h).
#include "Sys_Platform.h"

#include <mutex>

#include "Sys_BlockingTimerPosix.h"
#include "Sys_EventPosix.h"
#include "Sys_FileLocIteratorPosix.h"
#include "Sys_FileLocPosix.h"
#include "Sys_FilePosix.h"
#include "Sys_MutexPosix.h"
#include "Sys_RawThreadPosix.h"
#include "Sys_SemaphorePosix.h"
#include "Sys_SyncObjectPosix.h"
#include "Sys_ThreadPosix.h"
#include "Sys_TimerEventPosix.h"
#include "Sys_VolumePosix.h"

void Sys_SetPlatformDependentMethods()
{
    static std::once_flag sOnce;
    std::call_once(sOnce,
                   []
                   {
                       Sys_MutexPosix::SetPlatformDependentMethods();
                       Sys_SyncObjectPosix::SetPlatformDependentMethods();
                       Sys_EventPosix::SetPlatformDependentMethods();
                       Sys_SemaphorePosix::SetPlatformDependentMethods();
                       Sys_TimerEventPosix::SetPlatformDependentMethods();
                       Sys_BlockingTimerPosix::SetPlatformDependentMethods();
                       Sys_RawThreadPosix::SetPlatformDependentMethods();
                       Sys_ThreadPosix::SetPlatformDependentMethods();
                       Sys_VolumePosix::SetPlatformDependentMethods();
                       Sys_FileLocPosix::SetPlatformDependentMethods();
                       Sys_FileLocIteratorPosix::SetPlatformDependentMethods();
                       Sys_FilePosix::SetPlatformDependentMethods();
                   });
}

namespace
{
// Runs the set-up when the library is loaded.
[[maybe_unused]] const bool sInstalledAtLoad = (Sys_SetPlatformDependentMethods(), true);
} // namespace
