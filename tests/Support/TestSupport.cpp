#include "Support/TestSupport.h"

#include <bit>
#include <cstdlib>
#include <exception>
#include <filesystem>

Test_TempDir::Test_TempDir()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "mirafile-test-XXXXXX").string();
    if (!::mkdtemp(pattern.data()))
        std::abort();
    mPath = pattern;
}

Test_TempDir::~Test_TempDir()
{
    std::error_code ec;
    std::filesystem::remove_all(mPath, ec);
}

testing::AssertionResult Test_ThrowsL10N(const std::function<void()>& iAction, int32_t iPackage,
                                         int32_t iID)
{
    try
    {
        iAction();
    }
    catch (const std::exception& e)
    {
        if (L10N_IsException(e, iPackage, iID))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "threw another exception: " << e.what();
    }
    return testing::AssertionFailure() << "threw nothing";
}

testing::AssertionResult Test_Asserts(const std::function<void()>& iAction, const std::string& iExpr)
{
    try
    {
        iAction();
    }
    catch (const Cmn_AssertException& e)
    {
        if (std::string(e.what()).find("Assertion in \"" + iExpr + "\"") != std::string::npos)
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "another assertion: " << e.what();
    }
    catch (const std::exception& e)
    {
        return testing::AssertionFailure() << "threw another exception: " << e.what();
    }
    return testing::AssertionFailure() << "threw nothing";
}

std::string ThrownText(const std::function<void()>& iAction)
{
    try
    {
        iAction();
    }
    catch (const std::exception& e)
    {
        return e.what();
    }
    return "";
}

std::vector<unsigned char> Test_Contents(const Cmn_MemBufferOutStream& iOut)
{
    return std::vector<unsigned char>(iOut.GetBuffer(), iOut.GetBuffer() + iOut.GetEndPos());
}

void PrintTo(const Test_ByteOrder& iOrder, std::ostream* oStream)
{
    *oStream << iOrder.mName;
}

namespace
{
template <class Out, class In> Test_ByteOrder MakeByteOrder(const char* iName, bool iBig)
{
    return {iName, iBig,
            [](Cmn_OutStream* iStreamP) -> std::unique_ptr<Sys_TypedOutStream>
            { return std::make_unique<Out>(iStreamP); },
            [](Cmn_InStream* iStreamP) -> std::unique_ptr<Sys_TypedInStream>
            { return std::make_unique<In>(iStreamP); }};
}
} // namespace

const std::vector<Test_ByteOrder>& Test_ByteOrders()
{
    static const std::vector<Test_ByteOrder> sOrders = {
        MakeByteOrder<Sys_NativeOutStream, Sys_NativeInStream>("Native", std::endian::native ==
                                                                             std::endian::big),
        MakeByteOrder<Sys_LittleEndianOutStream, Sys_LittleEndianInStream>("LittleEndian", false),
        MakeByteOrder<Sys_BigEndianOutStream, Sys_BigEndianInStream>("BigEndian", true),
        MakeByteOrder<Sys_CrossPlatformOutStream, Sys_CrossPlatformInStream>("CrossPlatform", true)};
    return sOrders;
}
