// mirafile repair FILE... [-o OUT | --in-place] [--json]: recovers WAVE and AIFF recordings
// whose sizes do not match the file (FF_AudioFileRepair).
//
// For each file the command says what it found. A file that needs repair gets a repaired copy:
// OUT with -o (one file only), else NAME.repaired.EXT beside it; an existing output is never
// replaced. With --in-place the file itself is repaired after a backup of every byte that
// changes is written beside it as NAME.EXT.repair-backup. A file that needs nothing is left
// alone and nothing is written. A file that is not understood is named on standard error with
// the reason, left as it is, and the status is then 1; the other files are still done.
// Ctrl-C cancels a copy (the partial copy goes) with status 130.
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "Cmn_Exception.h"
#include "FF/Audio/PlugIns/FF_AudioFileRepair.h"
#include "Sys_FileLoc.h"
#include "Sys_FileUtils.h"
#include "Tool.h"
#include "Tool_Progress.h"

namespace
{
const char* const cUsage = "repair FILE... [-o OUT | --in-place] [--json]";

struct
{
    std::vector<std::string> mPaths;
    std::string mOut;
    bool mInPlace = false;
    bool mJson = false;
} sOptions;

void Declare(CLI::App& ioApp)
{
    ioApp.add_option("FILE", sOptions.mPaths, "WAVE or AIFF files cut off or never finalised");
    ioApp.add_option("-o,--output", sOptions.mOut, "the repaired copy (one file only)");
    ioApp.add_flag("--in-place", sOptions.mInPlace,
                   "repair the file itself, after a backup of what changes");
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document");
}

// NAME.repaired.EXT beside iPath.
std::string DefaultOutput(const std::string& iPath)
{
    const Sys_FileLoc loc(iPath);
    std::string extension = loc.GetExtension();
    if (!extension.empty() && extension.front() != '.')
        extension.insert(0, ".");
    const std::string full = loc.GetFullPath();
    return full.substr(0, full.size() - extension.size()) + ".repaired" + extension;
}

struct Outcome
{
    std::string mPath;
    FF_AudioFileRepair::Report mReport;
    std::string mWritten; // the repaired copy, or the file itself in place
    std::string mBackup;
};

Outcome RepairOne(const std::string& iPath)
{
    const Sys_FileLoc loc(iPath);
    if (!Sys_FileUtils::Exists(loc))
        throw std::runtime_error("no such file");
    if (Sys_FileUtils::IsFolder(loc))
        throw std::runtime_error("is a folder");
    Outcome outcome;
    outcome.mPath = iPath;
    outcome.mReport = FF_AudioFileRepair::Examine(loc);
    if (!outcome.mReport.NeedsRepair())
        return outcome;
    if (sOptions.mInPlace)
    {
        outcome.mBackup = loc.GetFullPath() + ".repair-backup";
        if (Sys_FileUtils::Exists(Sys_FileLoc(outcome.mBackup)))
            throw std::runtime_error("\"" + outcome.mBackup + "\" exists already");
        outcome.mReport = FF_AudioFileRepair::RepairInPlace(loc, Sys_FileLoc(outcome.mBackup));
        outcome.mWritten = iPath;
        return outcome;
    }
    outcome.mWritten = sOptions.mOut.empty() ? DefaultOutput(iPath) : sOptions.mOut;
    if (Sys_FileUtils::Exists(Sys_FileLoc(outcome.mWritten)))
        throw std::runtime_error("\"" + outcome.mWritten + "\" exists already");
    Tool_ProgressBar bar(outcome.mReport.mKeptEnd);
    const std::string name = loc.GetName();
    outcome.mReport = FF_AudioFileRepair::WriteRepairedCopy(loc, Sys_FileLoc(outcome.mWritten),
                                                            [&](int64_t iDone, int64_t)
                                                            {
                                                                bar.Show(iDone, name);
                                                                return !Tool_CancelRequested();
                                                            });
    return outcome;
}

Tool_Json ToJson(const Outcome& iOutcome)
{
    const FF_AudioFileRepair::Report& r = iOutcome.mReport;
    Tool_Json doc;
    doc["path"] = iOutcome.mPath;
    doc["format"] = r.mFormat;
    doc["needs_repair"] = r.NeedsRepair();
    doc["findings"] = r.mFindings;
    doc["frames"] = r.mFrames;
    doc["frame_bytes"] = r.mFrameBytes;
    doc["data_offset"] = r.mDataOffset;
    doc["dropped_bytes"] = r.mFileSize - r.mKeptEnd;
    doc["repaired"] = iOutcome.mWritten.empty() ? Tool_Json() : Tool_Json(iOutcome.mWritten);
    doc["backup"] = iOutcome.mBackup.empty() ? Tool_Json() : Tool_Json(iOutcome.mBackup);
    return doc;
}

void PrintText(std::ostream& ioOut, const Outcome& iOutcome)
{
    const FF_AudioFileRepair::Report& r = iOutcome.mReport;
    ioOut << iOutcome.mPath << ": " << r.mFormat << ", " << r.mFrames << " frames of "
          << r.mFrameBytes << " bytes";
    if (!r.NeedsRepair())
    {
        ioOut << "; nothing to repair\n";
        return;
    }
    ioOut << "\n";
    for (const std::string& finding : r.mFindings)
        ioOut << "  " << finding << "\n";
    if (!iOutcome.mBackup.empty())
        ioOut << "  repaired in place; the bytes changed are in " << iOutcome.mBackup << "\n";
    else
        ioOut << "  repaired copy: " << iOutcome.mWritten << "\n";
}

int Run()
{
    const auto& paths = sOptions.mPaths;
    if (paths.empty())
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    if (!sOptions.mOut.empty() && (paths.size() > 1 || sOptions.mInPlace))
        throw Tool_UsageError("-o takes one file and no --in-place");

    Tool_StInterruptHandler interruptHandler;
    std::ostringstream out;
    Tool_Json documents = Tool_Json::array();
    bool failed = false;
    for (const std::string& path : paths)
    {
        Outcome outcome;
        try
        {
            outcome = RepairOne(path);
        }
        catch (const Cmn_CancelException&)
        {
            throw;
        }
        catch (const std::exception& e)
        {
            std::string text = Cmn_Exception::GetExceptionDescription(e);
            if (text.rfind("\"", 0) != 0)
                text = path + ": " + text;
            std::cerr << "mirafile: " << Tool_OneLine(text) << "\n";
            failed = true;
            continue;
        }
        if (sOptions.mJson)
            documents.push_back(ToJson(outcome));
        else
            PrintText(out, outcome);
    }
    if (sOptions.mJson)
        out << Tool_JsonText(Tool_Json{{"files", documents}}) << "\n";
    std::cout << out.str();
    return failed ? 1 : 0;
}

Tool_Registrar sRegistrar{{"repair", cUsage,
                           "recover WAVE and AIFF recordings cut off by a crash or a full disk",
                           Declare, Run}};
} // namespace
