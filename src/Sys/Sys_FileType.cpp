#include "Sys_FileType.h"

#include <cctype>
#include <deque>
#include <mutex>
#include <shared_mutex>

#include "Cmn_Assert.h"
#include "L10N_Utils.h"

namespace
{
struct Row
{
    std::vector<Sys_FileType::OSType> mMacTypes;
    std::vector<std::string> mExtensions;
    std::string mDescription;
    int32_t mDescriptionResourceID = 0;
    Sys_FileType::OSType mCreator = 0;
    int32_t mGroup = 0;
};

struct Table
{
    std::shared_mutex mMutex;
    std::deque<Row> mRows;

    Table()
    {
        const Sys_FileType::OSType creator = Sys_FileType::MakeOSType("MDul");
        // Row 0: unknown ("Unknown"), row 1: folder ("Folder").
        mRows.push_back({{}, {}, "Unknown", 224, creator, Sys_FileType::eGroup_Other});
        mRows.push_back({{Sys_FileType::MakeOSType("fold")},
                         {},
                         "Folder",
                         225,
                         creator,
                         Sys_FileType::eGroup_Folder});
    }
};

Table& TheTable()
{
    static Table* sTableP = new Table; // lives to the end: types are used from destructors
    return *sTableP;
}

bool EqualNoCase(const std::string& iA, const std::string& iB)
{
    if (iA.size() != iB.size())
        return false;
    for (size_t i = 0; i < iA.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(iA[i])) !=
            std::tolower(static_cast<unsigned char>(iB[i])))
            return false;
    return true;
}

// Runs iFunction on the row of iIndex under the read lock; iDefault for an unknown index.
template <class R, class F> R WithRow(int32_t iIndex, R iDefault, F&& iFunction)
{
    Table& table = TheTable();
    std::shared_lock<std::shared_mutex> lock(table.mMutex);
    if (iIndex < 0 || size_t(iIndex) >= table.mRows.size())
        return iDefault;
    return iFunction(table.mRows[size_t(iIndex)]);
}
} // namespace

std::string Sys_FileType::OSTypeToString(OSType iCode)
{
    std::string text(4, ' ');
    for (int i = 0; i < 4; ++i)
        text[size_t(i)] = static_cast<char>((iCode >> (24 - 8 * i)) & 0xFF);
    return text;
}

void Sys_FileType::Initialize()
{
    TheTable();
}

Sys_FileType Sys_FileType::RegisterType(const std::vector<OSType>& iMacTypes,
                                        const std::vector<std::string>& iExtensions,
                                        const std::string& iDescription, OSType iCreator,
                                        int32_t iGroup, int32_t iDescriptionResourceID)
{
    Table& table = TheTable();
    std::unique_lock<std::shared_mutex> lock(table.mMutex);
    CMN_ASSERT(table.mRows.size() < 0x7fffffff);
    table.mRows.push_back(
        {iMacTypes, iExtensions, iDescription, iDescriptionResourceID, iCreator, iGroup});
    return Sys_FileType(int32_t(table.mRows.size() - 1));
}

Sys_FileType Sys_FileType::FromMacOSType(OSType iMacType)
{
    Table& table = TheTable();
    std::shared_lock<std::shared_mutex> lock(table.mMutex);
    for (size_t i = 0; i < table.mRows.size(); ++i)
        for (OSType type : table.mRows[i].mMacTypes)
            if (type == iMacType)
                return Sys_FileType(int32_t(i));
    return cUnknown;
}

Sys_FileType Sys_FileType::FromExtension(const std::string& iExtension)
{
    if (iExtension.empty())
        return cUnknown;
    Table& table = TheTable();
    std::shared_lock<std::shared_mutex> lock(table.mMutex);
    for (size_t i = 0; i < table.mRows.size(); ++i)
        for (const std::string& extension : table.mRows[i].mExtensions)
            if (EqualNoCase(extension, iExtension))
                return Sys_FileType(int32_t(i));
    return cUnknown;
}

int32_t Sys_FileType::GetNumRegisteredTypes()
{
    Table& table = TheTable();
    std::shared_lock<std::shared_mutex> lock(table.mMutex);
    return int32_t(table.mRows.size());
}

Sys_FileType::OSType Sys_FileType::GetAssociatedMacOSType() const
{
    return WithRow(mIndex, OSType(0),
                   [](const Row& iRow)
                   { return iRow.mMacTypes.empty() ? OSType(0) : iRow.mMacTypes.front(); });
}

std::vector<Sys_FileType::OSType> Sys_FileType::GetAssociatedMacOSTypes() const
{
    return WithRow(mIndex, std::vector<OSType>(), [](const Row& iRow) { return iRow.mMacTypes; });
}

std::string Sys_FileType::GetAssociatedExtension() const
{
    return WithRow(mIndex, std::string(),
                   [](const Row& iRow)
                   { return iRow.mExtensions.empty() ? std::string() : iRow.mExtensions.front(); });
}

std::vector<std::string> Sys_FileType::GetAssociatedExtensions() const
{
    return WithRow(mIndex, std::vector<std::string>(),
                   [](const Row& iRow) { return iRow.mExtensions; });
}

bool Sys_FileType::HasAssociatedExtension(const std::string& iExtension) const
{
    return WithRow(mIndex, false,
                   [&](const Row& iRow)
                   {
                       for (const std::string& extension : iRow.mExtensions)
                           if (EqualNoCase(extension, iExtension))
                               return true;
                       return false;
                   });
}

std::string Sys_FileType::ToExtensions() const
{
    std::string text;
    for (const std::string& extension : GetAssociatedExtensions())
    {
        if (extension.empty())
            continue;
        if (!text.empty())
            text += ';';
        text += extension[0] == '.' ? "*" + extension : "*." + extension;
    }
    return text;
}

std::string Sys_FileType::GetDescriptiveString() const
{
    const Row row = WithRow(mIndex, Row(), [](const Row& iRow) { return iRow; });
    if (row.mDescriptionResourceID != 0)
    {
        try
        {
            return L10N_Utils::GetResourceString(row.mDescriptionResourceID);
        }
        catch (const std::exception&)
        {
            // No text under that id: the literal stands in.
        }
    }
    return row.mDescription;
}

Sys_FileType::OSType Sys_FileType::GetCreatorType() const
{
    return WithRow(mIndex, OSType(0), [](const Row& iRow) { return iRow.mCreator; });
}

int32_t Sys_FileType::GetGroup() const
{
    return WithRow(mIndex, int32_t(eGroup_Other), [](const Row& iRow) { return iRow.mGroup; });
}

bool Sys_FileType::IsRegistered() const
{
    return mIndex >= 0 && mIndex < GetNumRegisteredTypes();
}
