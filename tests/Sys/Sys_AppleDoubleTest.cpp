// AppleDouble sidecars: the layout written, and a parser that trusts no number of the image.
#include <algorithm>
#include <gtest/gtest.h>

#include "Support/FFTestSupport.h"
#include "Support/SysTestSupport.h"
#include "Sys_AppleDouble.h"
#include "Sys_FileUtils.h"

namespace
{
Bytes Header(uint32_t iMagic, uint16_t iCount)
{
    Bytes image(26, 0);
    for (int i = 0; i < 4; ++i)
        image[size_t(i)] = uint8_t(iMagic >> (24 - 8 * i));
    image[4] = 0, image[5] = 2;
    image[24] = uint8_t(iCount >> 8), image[25] = uint8_t(iCount);
    return image;
}

void Descriptor(Bytes& ioImage, uint32_t iID, uint32_t iOffset, uint32_t iLength)
{
    for (uint32_t value : {iID, iOffset, iLength})
        for (int i = 0; i < 4; ++i)
            ioImage.push_back(uint8_t(value >> (24 - 8 * i)));
}

// The written layout: header, Finder information at 50, resource fork at 82; and back.
TEST(Sys_AppleDouble, BuildLaysOutFinderInformationThenTheForkAndParsesBack)
{
    Sys_AppleDouble::Contents contents;
    contents.SetTypeAndCreator(0x51733266, 0x4D44756C);
    contents.mHasResourceFork = true;
    contents.mResourceFork = {1, 2, 3, 4, 5};
    const Bytes image = Sys_AppleDouble::Build(contents);
    ASSERT_EQ(image.size(), 82u + 5u);
    EXPECT_EQ(Bytes(image.begin(), image.begin() + 8), (Bytes{0, 5, 0x16, 7, 0, 2, 0, 0}));
    EXPECT_EQ(Bytes(image.begin() + 26, image.begin() + 50),
              (Bytes{0, 0, 0, 9, 0, 0, 0, 50, 0, 0, 0, 32, 0, 0, 0, 2, 0, 0, 0, 82, 0, 0, 0, 5}));
    EXPECT_EQ(Bytes(image.begin() + 50, image.begin() + 54), (Bytes{'Q', 's', '2', 'f'}));
    Sys_AppleDouble::Contents back;
    ASSERT_TRUE(Sys_AppleDouble::Parse(image.data(), image.size(), &back));
    EXPECT_EQ(back.GetType(), 0x51733266u);
    EXPECT_EQ(back.GetCreator(), 0x4D44756Cu);
    EXPECT_EQ(back.mResourceFork, contents.mResourceFork);

    WriteFuzzSeeds({{"AppleDoubleFuzz/finder-and-fork", image}});
}

// Lying images: entries are cut to the image, entries past its end and descriptors it does
// not hold are no entries, and other magic is no sidecar.
TEST(Sys_AppleDouble, ParserCutsEntriesToTheImage)
{
    struct Case
    {
        const char* mName;
        Bytes mImage;
        bool mParsed;
        size_t mEntries;
        size_t mForkSize;
    };
    std::vector<Case> cases;
    Bytes image = Header(0x00051607, 1);
    Descriptor(image, 2, 38, 0xFFFFFFF0); // longer than the image
    image.insert(image.end(), 10, 7);
    cases.push_back({"length cut", image, true, 1, 10});
    image = Header(0x00051607, 2);
    Descriptor(image, 2, 0x7FFFFFFF, 4); // starts past the end
    Descriptor(image, 9, 50, 32);
    cases.push_back({"offset past the end", image, true, 1, 0});
    image = Header(0x00051607, 0xFFFF); // more descriptors than the image holds
    Descriptor(image, 2, 38, 1);
    image.push_back(9);
    cases.push_back({"count past the end", image, true, 1, 1});
    cases.push_back({"AppleSingle", Header(0x00051600, 0), true, 0, 0});
    cases.push_back({"other magic", Header(0x00051608, 0), false, 0, 0});
    image = Header(0x00051607, 0);
    image.pop_back();
    cases.push_back({"short header", image, false, 0, 0});
    std::vector<std::pair<std::string, Bytes>> seeds;
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mName);
        std::vector<Sys_AppleDouble::Entry> entries;
        const size_t head = c.mImage.size() >= 26 ? Sys_AppleDouble::HeadSize(c.mImage.data(),
                                                                              int64_t(c.mImage.size()))
                                                  : c.mImage.size();
        EXPECT_EQ(Sys_AppleDouble::ParseEntries(c.mImage.data(), head, int64_t(c.mImage.size()),
                                                &entries),
                  c.mParsed);
        EXPECT_EQ(entries.size(), c.mEntries);
        Sys_AppleDouble::Contents contents;
        EXPECT_EQ(Sys_AppleDouble::Parse(c.mImage.data(), c.mImage.size(), &contents), c.mParsed);
        EXPECT_EQ(contents.mResourceFork.size(), c.mForkSize);
        std::string name = c.mName;
        std::replace(name.begin(), name.end(), ' ', '-');
        seeds.push_back({"AppleDoubleFuzz/" + name, c.mImage});
    }
    WriteFuzzSeeds(seeds);
}

// Written sidecars are found by the file utilities: the Finder type and the fork's size.
TEST(Sys_AppleDouble, WrittenSidecarsAnswerTheFileQueries)
{
    Test_TempDir dir;
    const Sys_FileLoc file(dir.Path() + "/take");
    WriteBytes(file.GetFullPath(), Bytes{1});
    Sys_AppleDouble::Contents contents;
    contents.SetTypeAndCreator(0x41494646, 0); // "AIFF"
    contents.mHasResourceFork = true;
    contents.mResourceFork.assign(300, 1);
    Sys_AppleDouble::Write(file, contents);
    EXPECT_EQ(Sys_FileUtils::GetFileResourceForkSize(file), 300);
    EXPECT_EQ(Sys_FileUtils::GetFileType(file), Sys_FileType::FromMacOSType(0x41494646));
    EXPECT_EQ(Test_FolderNames(dir.Path()), (std::set<std::string>{"take", "._take"}));
}
} // namespace
