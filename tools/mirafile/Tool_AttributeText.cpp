#include "Tool_AttributeText.h"

#include <algorithm>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <vector>

#include "BDM/BDM_Asset.h"
#include "BDM/BDM_Attribute.h"
#include "BDM/BDM_Utils.h"
#include "FF/Audio/FF_AudioFile.h"

namespace
{
std::string DateText(int64_t iMicroseconds)
{
    const std::time_t seconds = std::time_t(iMicroseconds / 1000000);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &utc);
    return text;
}

template <class T> const T* ValueOf(const BDM_AttributeValue& iValue)
{
    const auto* typedP = dynamic_cast<const BDM_TypedAttributeValue<T>*>(&iValue);
    return typedP ? &typedP->GetValue() : nullptr;
}
} // namespace

std::pair<std::string, Tool_Json> Tool_ShowAttribute(BDM_Asset& iAsset,
                                                     const BDM_AttributeTag& iTag)
{
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    BDM_Attribute* attributeP = iAsset.GetAttribute(iTag);
    if (!attributeP)
        return {"-", nullptr};
    BDM_AttributeValueHandle handle = attributeP->GetValue();
    const BDM_AttributeValue& value = *handle;
    if (value.IsEmpty())
        return {"-", nullptr};
    if (const auto* p = ValueOf<std::string>(value))
        return {*p, *p};
    if (const auto* p = ValueOf<int64_t>(value))
    {
        if (iTag == t.cFileModDate || iTag == t.cFileCreateDate || iTag == t.cFileLastIndexedDate)
            return {DateText(*p), *p};
        if (iTag == t.cAssetDurationMicroseconds)
        {
            std::ostringstream text;
            text << std::fixed << std::setprecision(3) << double(*p) / 1e6 << " s";
            return {text.str(), *p};
        }
        return {std::to_string(*p), *p};
    }
    if (const auto* p = ValueOf<int32_t>(value))
        return {std::to_string(*p), *p};
    if (const auto* p = ValueOf<int16_t>(value))
        return {std::to_string(*p), *p};
    if (const auto* p = ValueOf<bool>(value))
        return {*p ? "yes" : "no", *p};
    if (const auto* p = ValueOf<BDM_EAssetType>(value))
        return {BDM_Utils::GetAssetTypeName(*p), BDM_Utils::GetAssetTypeName(*p)};
    if (const auto* p = ValueOf<BDM_EFileFormat>(value))
    {
        const int32_t format = int32_t(*p);
        std::string text = std::to_string(format);
        if (format > BDM_eFileFormat_AudioBase && format < BDM_eFileFormat_Movie)
        {
            const std::string name = FF_AudioFile::GetAudioFileTypeName(
                EAudioFileType(format - BDM_eFileFormat_AudioBase));
            if (!name.empty())
                text = name;
        }
        return {text, format};
    }
    if (const auto* p = ValueOf<Sys_Umid>(value))
        return {p->AsString(), p->AsString()};
    if (const auto* p = ValueOf<BDM_StringList>(value))
    {
        std::string text;
        for (const std::string& part : *p)
            text += (text.empty() || text.back() == '/' ? "" : "/") + part;
        return {text, Tool_Json(std::vector<std::string>(p->begin(), p->end()))};
    }
    if (const auto* p = ValueOf<FF_AudioOverview::LockingRef>(value))
    {
        const int32_t points = *p ? (*p)->GetNumPoints() : 0;
        return {std::to_string(points) + " points", points};
    }
    if (const auto* p = ValueOf<BDM_EStatus>(value))
        return {std::to_string(int32_t(*p)), int32_t(*p)};
    if (const auto* p = ValueOf<ETimeCodeFormat>(value))
        return {std::to_string(int32_t(*p)), int32_t(*p)};
    if (const auto* p = ValueOf<BDM_TaskProgress>(value))
        return {std::to_string(p->mUnitsCompleted) + "/" + std::to_string(p->mUnitsToComplete),
                Tool_Json::array({p->mUnitsCompleted, p->mUnitsToComplete})};
    return {"set", true};
}

std::string Tool_AssetRowsText(const std::vector<Tool_AssetRow>& iRows,
                               const std::vector<const BDM_AttributeTag*>& iColumns, bool iJson)
{
    std::ostringstream out;
    if (iJson)
    {
        Tool_Json list = Tool_Json::array();
        for (const Tool_AssetRow& row : iRows)
        {
            Tool_Json object;
            object["path"] = row.mPath;
            for (const BDM_AttributeTag* tagP : iColumns)
                object[BDM_Utils::GetTagName(*tagP)] =
                    Tool_ShowAttribute(*row.mAsset, *tagP).second;
            list.push_back(std::move(object));
        }
        out << Tool_JsonText(list, ",\n ") << "\n";
        return out.str();
    }
    std::vector<std::vector<std::string>> cells;
    std::vector<std::string> header{"Path"};
    for (const BDM_AttributeTag* tagP : iColumns)
        header.push_back(tagP->GetName().empty() ? BDM_Utils::GetTagName(*tagP) : tagP->GetName());
    cells.push_back(header);
    for (const Tool_AssetRow& row : iRows)
    {
        std::vector<std::string> line{row.mPath};
        for (const BDM_AttributeTag* tagP : iColumns)
            line.push_back(Tool_ShowAttribute(*row.mAsset, *tagP).first);
        cells.push_back(std::move(line));
    }
    std::vector<size_t> widths(header.size(), 0);
    for (const auto& line : cells)
        for (size_t i = 0; i < line.size(); ++i)
            widths[i] = std::max(widths[i], line[i].size());
    for (const auto& line : cells)
    {
        std::string text;
        for (size_t i = 0; i < line.size(); ++i)
        {
            text += line[i];
            if (i + 1 < line.size())
                text += std::string(widths[i] - line[i].size() + 2, ' ');
        }
        out << text << "\n";
    }
    return out.str();
}
