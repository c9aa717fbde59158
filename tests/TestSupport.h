// Helpers shared by the test programs.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

// A fresh folder under the system's temporary folder, removed with everything in it.
class Test_TempDir
{
public:
    Test_TempDir()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "mirafile-test-XXXXXX").string();
        if (!::mkdtemp(pattern.data()))
            std::abort();
        mPath = pattern;
    }
    ~Test_TempDir()
    {
        std::error_code ec;
        std::filesystem::remove_all(mPath, ec);
    }
    Test_TempDir(const Test_TempDir&) = delete;
    Test_TempDir& operator=(const Test_TempDir&) = delete;
    const std::string& Path() const { return mPath; }

private:
    std::string mPath;
};
