// Runs a fuzz target over the files (or the files in the folders) named on the command
// line, for builds without libFuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

static void RunFile(const std::filesystem::path& iPath)
{
    std::ifstream in(iPath, std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

int main(int argc, char** argv)
{
    int count = 0;
    for (int i = 1; i < argc; ++i)
    {
        const std::filesystem::path p(argv[i]);
        if (std::filesystem::is_directory(p))
        {
            for (const auto& e : std::filesystem::recursive_directory_iterator(p))
                if (e.is_regular_file())
                {
                    RunFile(e.path());
                    ++count;
                }
        }
        else
        {
            RunFile(p);
            ++count;
        }
    }
    std::printf("replayed %d inputs\n", count);
    return 0;
}
