#include "Sys_Utils.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <execinfo.h>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "Cmn_Exception.h"
#include "Cmn_StackDump.h"
#include "L10N_Utils.h"
#include "Sys_Paths.h"

namespace
{
std::string ToSlashes(std::string iText)
{
    for (char& c : iText)
        if (c == '\\')
            c = '/';
    return iText;
}

bool Exists(const std::string& iPath)
{
    struct stat st{};
    return ::stat(iPath.c_str(), &st) == 0;
}

// Prepared outside the signal handler, so that the handler only opens and writes.
char sSignalLogPath[4096];

void FatalSignalHandler(int iSignal)
{
    const int fd = ::open(sSignalLogPath, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd >= 0)
    {
        const char* head = "Description:\r\nfatal signal ";
        [[maybe_unused]] auto r = ::write(fd, head, std::strlen(head));
        const char* name = ::strsignal(iSignal);
        r = ::write(fd, name, std::strlen(name));
        r = ::write(fd, "\r\nStack:\r\n", 10);
        void* frames[64];
        const int n = ::backtrace(frames, 64);
        ::backtrace_symbols_fd(frames, n, fd);
        ::close(fd);
        const char* tell = "mirafile: a fatal failure; a log was written to ";
        r = ::write(2, tell, std::strlen(tell));
        r = ::write(2, sSignalLogPath, std::strlen(sSignalLogPath));
        r = ::write(2, "\n", 1);
    }
    ::signal(iSignal, SIG_DFL);
    ::raise(iSignal);
}
} // namespace

std::string Sys_Utils::GetExceptionLogFolder()
{
    return Sys_Paths::GetDataFolder() + "/" + ToSlashes(L10N_Utils::GetText(2, 63));
}

std::string Sys_Utils::GetNewExceptionLogFileLoc()
{
    const std::string folder = GetExceptionLogFolder();
    Sys_Paths::CreateFolders(folder);
    for (int64_t n = 0;; ++n)
    {
        const std::string path =
            folder + ToSlashes(L10N_Utils::GetText(2, 64, {std::to_string(n)}));
        if (!Exists(path))
            return path;
    }
}

std::string Sys_Utils::WriteExceptionLog(const std::exception& iException, const Cmn_StackDump* iDumpP)
{
    if (dynamic_cast<const Cmn_CancelException*>(&iException))
        return {};
    const std::string path = GetNewExceptionLogFileLoc();
    std::ofstream out(path, std::ios::binary);
    out << L10N_Utils::GetText(2, 65, {Cmn_Exception::GetExceptionDescription(iException)});
    const auto* cmnP = dynamic_cast<const Cmn_Exception*>(&iException);
    const Cmn_StackDump* dumpP = cmnP && cmnP->GetStackDump() ? cmnP->GetStackDump() : iDumpP;
    if (dumpP)
        dumpP->Print(out);
    return out ? path : std::string();
}

std::string Sys_Utils::GetFatalExceptionText(const std::string& iLogPath)
{
    return L10N_Utils::GetText(2, 60) + L10N_Utils::GetText(2, 61, {iLogPath});
}

bool Sys_Utils::HandleFatalException(const std::exception& iException)
{
    try
    {
        const std::string path = WriteExceptionLog(iException);
        if (!path.empty())
            std::cerr << L10N_Utils::GetText(2, 62) << ": " << GetFatalExceptionText(path);
    }
    catch (...)
    {
    }
    return false;
}

void Sys_Utils::InstallFatalSignalHandlers()
{
    if (Exists(Sys_Paths::GetConfigFolder() + "/Enable JIT Debugging"))
        return;
    try
    {
        const std::string path = GetNewExceptionLogFileLoc();
        std::snprintf(sSignalLogPath, sizeof sSignalLogPath, "%s", path.c_str());
    }
    catch (...)
    {
        return;
    }
    for (int sig : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT})
        ::signal(sig, FatalSignalHandler);
}
