#include "Support/SysTestSupport.h"

#include <exception>
#include <filesystem>

bool Exists(const std::string& iPath)
{
    return std::filesystem::exists(std::filesystem::symlink_status(iPath));
}

std::pair<int32_t, std::string> ThrownError(const std::function<void()>& iAction)
{
    try
    {
        iAction();
    }
    catch (const Sys_OSErrException& e)
    {
        return {e.GetData().GetError(), e.what()};
    }
    catch (const std::exception& e)
    {
        return {-1, e.what()};
    }
    return {0, ""};
}
