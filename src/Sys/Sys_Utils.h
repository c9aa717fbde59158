// Exception logs and fatal failures.
//
// Logs live in the data folder under "Mira Deck/Mira Deck Utilities/ExceptionLogFiles",
// named "Log-N.mdx" with the first N not yet taken. A log starts with
// "Description:\r\n<text>\r\nStack:\r\n" and the stack dump follows.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

class Cmn_StackDump;

class Sys_Utils
{
public:
    static std::string GetExceptionLogFolder();
    // A path for a new log; creates the folder.
    static std::string GetNewExceptionLogFileLoc();
    // Writes a log for iException (with its stack dump when it carries one, else iDumpP)
    // and returns its path. Cancels are not logged: the result is then empty.
    static std::string WriteExceptionLog(const std::exception& iException,
                                         const Cmn_StackDump* iDumpP = nullptr);
    // The text shown to a user for a fatal failure with its log.
    static std::string GetFatalExceptionText(const std::string& iLogPath);
    // Writes the log and tells standard error; returns false (the caller rethrows).
    static bool HandleFatalException(const std::exception& iException);
    // On SIGSEGV, SIGBUS, SIGILL, SIGFPE and SIGABRT: write a log with the stack, then let
    // the default action run. Skipped when "Enable JIT Debugging" stands in the
    // configuration folder, so that a debugger gets the fault.
    static void InstallFatalSignalHandlers();
};
