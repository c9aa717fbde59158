#include "Sys_StackDumpPosix.h"

#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <sys/stat.h>

#include "Sys_Paths.h"

namespace
{
Cmn_StackDump* CreatePosixDump()
{
    return new Sys_StackDumpPosix;
}
Cmn_StackDump* CreateNullDump()
{
    return new Cmn_StackDumpNull;
}
} // namespace

Sys_StackDumpPosix::Sys_StackDumpPosix()
{
    void* frames[64];
    const int n = ::backtrace(frames, 64);
    // Leave out this constructor and the create hook.
    for (int i = n > 2 ? 2 : 0; i < n; ++i)
        mFrames.push_back(frames[i]);
}

void Sys_StackDumpPosix::Print(std::ostream& ioStream) const
{
    for (void* frame : mFrames)
    {
        Dl_info info{};
        if (::dladdr(frame, &info) && info.dli_sname)
        {
            int status = 0;
            char* demangled = abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, &status);
            ioStream << (status == 0 && demangled ? demangled : info.dli_sname);
            std::free(demangled);
            ioStream << " + 0x" << std::hex
                     << (reinterpret_cast<const char*>(frame) - static_cast<const char*>(info.dli_saddr))
                     << std::dec << '\n';
        }
        else
        {
            ioStream << (info.dli_fname ? info.dli_fname : "?") << " + 0x" << std::hex
                     << (reinterpret_cast<const char*>(frame) -
                         static_cast<const char*>(info.dli_fbase))
                     << std::dec << '\n';
        }
    }
}

void Sys_StackDumpPosix::SetPlatformDependentMethods()
{
    struct stat st{};
    const std::string marker = Sys_Paths::GetConfigFolder() + "/suppress stack dumps";
    Cmn_StackDump::SetCreateMethod(::stat(marker.c_str(), &st) == 0 ? &CreateNullDump
                                                                    : &CreatePosixDump);
}
