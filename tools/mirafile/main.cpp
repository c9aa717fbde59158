// mirafile: the command-line face of the library.
#include <iostream>
#include <string>
#include <vector>

#include "Cmn_Exception.h"
#include "I18N_Utils.h"
#include "Sys_StackDumpPosix.h"
#include "Tool.h"

#ifndef MIRAFILE_VERSION
#define MIRAFILE_VERSION "0"
#endif

namespace
{
void PrintHelp(std::ostream& out)
{
    out << "mirafile " MIRAFILE_VERSION " - audio files, time and media for a workstation\n\n"
        << "usage: mirafile COMMAND [ARGS...]\n\ncommands:\n";
    for (const auto& [name, cmd] : Tool_Registry::All())
        out << "  " << cmd.mUsage << "\n      " << cmd.mSummary << "\n";
    out << "  help [COMMAND]\n      show this text, or one command's usage\n"
        << "\noptions: --version, --help\n";
}

int RunHelp(const std::vector<std::string>& iArgs)
{
    if (iArgs.empty())
    {
        PrintHelp(std::cout);
        return 0;
    }
    const auto& all = Tool_Registry::All();
    auto it = all.find(iArgs[0]);
    if (it == all.end())
        throw Tool_UsageError("no command \"" + iArgs[0] + "\"; see mirafile help");
    std::cout << "usage: mirafile " << it->second.mUsage << "\n" << it->second.mSummary << "\n";
    return 0;
}
} // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    try
    {
        Sys_StackDumpPosix::SetPlatformDependentMethods();
        I18N_Utils::LoadLocalizedResources();
        if (args.empty())
        {
            PrintHelp(std::cerr);
            return 1;
        }
        const std::string name = args[0];
        args.erase(args.begin());
        if (name == "--version" || name == "version")
        {
            std::cout << "mirafile " MIRAFILE_VERSION "\n";
            return 0;
        }
        if (name == "help" || name == "--help" || name == "-h")
            return RunHelp(args);
        const auto& all = Tool_Registry::All();
        auto it = all.find(name);
        if (it == all.end())
            throw Tool_UsageError("unknown command \"" + name + "\"; see mirafile help");
        return it->second.mRun(args);
    }
    catch (const Cmn_CancelException&)
    {
        std::cerr << "mirafile: cancelled\n";
        return 130;
    }
    catch (const std::exception& e)
    {
        std::string text = Cmn_Exception::GetExceptionDescription(e);
        for (char& c : text)
            if (c == '\n' || c == '\r')
                c = ' ';
        std::cerr << "mirafile: " << text << "\n";
        return 1;
    }
}
