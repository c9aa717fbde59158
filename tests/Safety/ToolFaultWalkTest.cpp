// Every job of the tool under fault injection at the file layer: the Nth read, write, growth,
// sync or rename fails (or, separately, the process is killed at its Nth write). Afterwards
// the sources are byte-identical, no partial output stands under a final name, and a failure
// names the file and the cause. The faults come from a library preloaded into the tool.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Support/ByteSupport.h"
#include "Support/InteropSupport.h"
#include "Support/ToolRunner.h"

namespace
{
namespace fs = std::filesystem;

struct Job
{
    const char* mName;
    std::string mArgs;              // "@" stands for the work folder
    std::vector<std::string> mOuts; // what a run that went through leaves; empty: not checked
    int mBits = 16;                 // of the outputs
    bool mStore = false;            // writes into a store that a failure may leave, valid
};

const std::vector<Job>& Jobs()
{
    static const std::vector<Job> sJobs = {
        {"convert", "convert '@/src.wav' -o '@/out.aif' --rate 11025 --bits 24", {"out.aif"}, 24},
        {"consolidate", "consolidate '@/src.wav' --range 100:1500 -o '@/part.wav'", {"part.wav"}},
        {"copy", "copy '@/src.wav' '@/copy.wav'", {"copy.wav"}},
        {"tone",
         "tone '@/tone.wav' --rate 8000 --bits 16 --channels 1 --seconds 0.2",
         {"tone.wav"}},
        {"overview cache", "overview '@/src.wav' --cache '@/cache'", {}, 16, true},
        {"repair", "repair '@/cut.wav' -o '@/fixed.wav'", {"fixed.wav"}},
    };
    return sJobs;
}

const char* const cKinds[] = {"read", "write", "grow", "sync", "rename"};

// The regular files below iFolder, by path relative to it, with their bytes.
std::map<std::string, Bytes> Files(const std::string& iFolder)
{
    std::map<std::string, Bytes> files;
    for (const auto& entry : fs::recursive_directory_iterator(iFolder))
        if (entry.is_regular_file())
            files[fs::relative(entry.path(), iFolder).string()] = ReadBytes(entry.path().string());
    return files;
}

bool HasTemporary(const std::map<std::string, Bytes>& iFiles)
{
    for (const auto& [name, bytes] : iFiles)
        if (name.find(".mirafile-tmp-") != std::string::npos)
            return true;
    return false;
}

// N = 1, the middle and the last of iCount, then iCount + 1, which the run never reaches:
// every tool run costs a process start, so the walk steps rather than counting through.
std::vector<int64_t> Steps(int64_t iCount)
{
    const std::set<int64_t> steps{1, (iCount + 1) / 2, iCount};
    std::vector<int64_t> out;
    for (const int64_t n : steps)
        if (n >= 1 && n <= iCount)
            out.push_back(n);
    out.push_back(iCount + 1);
    return out;
}

class ToolFaults : public Test_ToolTest
{
protected:
    void SetUp() override
    {
        Test_ToolTest::SetUp();
        if (IsSkipped())
            return;
        mWork = In("work");
        mScratch = In("scratch");
        fs::create_directories(mWork);
        fs::create_directories(mScratch);
        ASSERT_EQ(Test_RunTool("tone '" + mWork +
                                   "/src.wav' --rate 8000 --bits 16 --channels 2 "
                                   "--seconds 0.3",
                               mScratch)
                      .mStatus,
                  0);
        Bytes cut = ReadBytes(mWork + "/src.wav");
        cut.resize(cut.size() - 101);
        WriteBytes(mWork + "/cut.wav", cut);
        mSources = Files(mWork);
    }

    // Back to the sources alone.
    void Reset()
    {
        for (const auto& entry : fs::directory_iterator(mWork))
            if (!mSources.count(entry.path().filename().string()))
                fs::remove_all(entry.path());
    }

    Test_ToolResult Run(const Job& iJob, const std::string& iFault)
    {
        std::string args = iJob.mArgs;
        for (size_t at = args.find('@'); at != std::string::npos; at = args.find('@', at))
        {
            args.replace(at, 1, mWork);
            at += mWork.size();
        }
        std::string env = std::string("LD_PRELOAD='") + MIRAFILE_FAULT_SHIM +
                          "' ASAN_OPTIONS=\"$ASAN_OPTIONS:verify_asan_link_order=0\"";
        if (iFault == "count")
            env += " MIRAFILE_FAULT_COUNTS='" + mScratch + "/counts'";
        else if (!iFault.empty())
            env += " MIRAFILE_FAULT=" + iFault;
        return Test_RunTool(args, mScratch, env);
    }

    // How many operations of each kind a clean run of the job does.
    std::map<std::string, int64_t> Count(const Job& iJob)
    {
        Reset();
        EXPECT_EQ(Run(iJob, "count").mStatus, 0) << iJob.mName;
        std::map<std::string, int64_t> counts;
        std::ifstream in(mScratch + "/counts");
        std::string kind;
        int64_t n = 0;
        while (in >> kind >> n)
            counts[kind] = n;
        return counts;
    }

    // The decoded samples of each output of the job.
    std::map<std::string, Bytes> Decoded(const Job& iJob)
    {
        std::map<std::string, Bytes> decoded;
        for (const std::string& out : iJob.mOuts)
            if (fs::exists(mWork + "/" + out))
                decoded[out] = Test_SoxRaw(mWork + "/" + out, iJob.mBits, mScratch);
        return decoded;
    }

    std::string mWork, mScratch;
    std::map<std::string, Bytes> mSources;
};
} // namespace

TEST_F(ToolFaults, EveryFailedOperationLeavesTheSourcesAndNoPartialOutput)
{
    const std::string cause = std::strerror(ENOSPC);
    for (const Job& job : Jobs())
    {
        const std::map<std::string, int64_t> counts = Count(job);
        for (const char* kind : cKinds)
        {
            const int64_t count = counts.count(kind) ? counts.at(kind) : 0;
            if (count == 0)
                continue;
            for (const int64_t n : Steps(count))
            {
                SCOPED_TRACE(std::string(job.mName) + ": " + kind + " " + std::to_string(n) +
                             " of " + std::to_string(count));
                Reset();
                const Test_ToolResult r = Run(job, std::string(kind) + ":" + std::to_string(n) +
                                                       ":" + std::to_string(ENOSPC));
                const std::map<std::string, Bytes> files = Files(mWork);
                for (const auto& [name, bytes] : mSources)
                    EXPECT_TRUE(files.count(name) && files.at(name) == bytes) << name;
                EXPECT_FALSE(HasTemporary(files));
                if (n > count)
                {
                    EXPECT_EQ(r.mStatus, 0) << r.mErr;
                }
                if (r.mStatus == 0)
                {
                    for (const std::string& out : job.mOuts)
                        EXPECT_TRUE(files.count(out)) << out;
                    continue;
                }
                EXPECT_NE(r.mErr.find(mWork), std::string::npos) << r.mErr;
                EXPECT_NE(r.mErr.find(cause), std::string::npos) << r.mErr;
                if (!job.mStore)
                {
                    EXPECT_EQ(files.size(), mSources.size()) << "an output stands";
                    continue;
                }
                // The store stays usable: the next run goes through without complaint.
                const Test_ToolResult again = Run(job, "");
                EXPECT_EQ(again.mStatus, 0);
                EXPECT_EQ(again.mErr, "");
            }
        }
    }
}

TEST_F(ToolFaults, AKillAtAnyWriteLeavesNoOutputOrAWholeOne)
{
    if (!Test_HaveSox())
        GTEST_SKIP() << "sox is not installed";
    for (const Job& job : Jobs())
    {
        const std::string name = job.mName;
        if (name != "convert" && name != "consolidate" && name != "copy")
            continue;
        const int64_t count = Count(job).at("write");
        const std::map<std::string, Bytes> whole = Decoded(job);
        ASSERT_EQ(whole.size(), job.mOuts.size());
        for (const int64_t n : Steps(count))
        {
            if (n > count)
                continue;
            SCOPED_TRACE(name + ": killed at write " + std::to_string(n) + " of " +
                         std::to_string(count));
            Reset();
            EXPECT_NE(Run(job, "write:" + std::to_string(n) + ":kill").mStatus, 0);
            const std::map<std::string, Bytes> files = Files(mWork);
            for (const auto& [source, bytes] : mSources)
                EXPECT_TRUE(files.count(source) && files.at(source) == bytes) << source;
            for (const auto& [out, samples] : Decoded(job))
                EXPECT_EQ(samples, whole.at(out)) << out;
            // The next run in the folder removes what the killed one left.
            for (const std::string& out : job.mOuts)
                fs::remove(mWork + "/" + out);
            EXPECT_EQ(Run(job, "").mStatus, 0);
            EXPECT_FALSE(HasTemporary(Files(mWork)));
        }
    }
}
