// How the tool shows an attribute of an asset: text for a person and a JSON value for a
// program. Dates are UTC date and time in text and microseconds since 1970 UTC in JSON;
// durations seconds in text and microseconds in JSON; asset kinds and audio formats by name.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "BDM/BDM_Asset.h"
#include "Tool.h"

class BDM_AttributeTag;

// The value as text and as JSON; "-" and null when the asset has none.
std::pair<std::string, Tool_Json> Tool_ShowAttribute(BDM_Asset& iAsset,
                                                     const BDM_AttributeTag& iTag);

// One asset as a listing shows it: its path as the user gave it, and the asset.
struct Tool_AssetRow
{
    std::string mPath;
    BDM_AssetHandle mAsset;
};

// The rows as a table (a header of column titles, each column as wide as its widest cell,
// the path first), or with iJson one JSON array of objects keyed "path" and the tag names.
std::string Tool_AssetRowsText(const std::vector<Tool_AssetRow>& iRows,
                               const std::vector<const BDM_AttributeTag*>& iColumns, bool iJson);
