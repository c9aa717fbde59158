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
    out << "  help [COMMAND]\n      show this text, or one command's usage and options\n"
        << "\noptions: --version, --help\n";
}

const Tool_Command& FindCommand(const std::string& iName, const char* iWhat)
{
    const auto& all = Tool_Registry::All();
    auto it = all.find(iName);
    if (it == all.end())
        throw Tool_UsageError(std::string(iWhat) + " \"" + iName + "\"; see mirafile help");
    return it->second;
}

// The command's usage line and summary, then the options CLI11 describes.
void PrintCommandHelp(const Tool_Command& iCommand, CLI::App& ioApp)
{
    ioApp.description("");
    std::cout << "usage: mirafile " << iCommand.mUsage << "\n"
              << iCommand.mSummary << "\n\n"
              << ioApp.help("", CLI::AppFormatMode::Sub);
}

int RunHelp(const std::vector<std::string>& iArgs)
{
    if (iArgs.empty())
    {
        PrintHelp(std::cout);
        return 0;
    }
    const Tool_Command& command = FindCommand(iArgs[0], "no command");
    CLI::App app(command.mSummary, "mirafile " + command.mName);
    command.mDeclare(app);
    PrintCommandHelp(command, app);
    return 0;
}

int RunCommand(const Tool_Command& iCommand, const std::vector<std::string>& iArgs)
{
    CLI::App app(iCommand.mSummary, "mirafile " + iCommand.mName);
    try
    {
        Tool_Parse(iCommand, app, iArgs);
    }
    catch (const CLI::CallForHelp&)
    {
        PrintCommandHelp(iCommand, app);
        return 0;
    }
    catch (const CLI::ParseError& e)
    {
        throw Tool_UsageError(e.what());
    }
    return iCommand.mRun();
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
        return RunCommand(FindCommand(name, "unknown command"), args);
    }
    catch (const Cmn_CancelException&)
    {
        std::cerr << "mirafile: cancelled\n";
        return 130;
    }
    catch (const std::exception& e)
    {
        std::cerr << "mirafile: " << Tool_OneLine(Cmn_Exception::GetExceptionDescription(e))
                  << "\n";
        return 1;
    }
}
