// How the tool shows an attribute of an asset: text for a person and a JSON value for a
// program. Dates are UTC date and time in text and microseconds since 1970 UTC in JSON;
// durations seconds in text and microseconds in JSON; asset kinds and audio formats by name.
#pragma once

#include <string>
#include <utility>

#include "Tool.h"

class BDM_Asset;
class BDM_AttributeTag;

// The value as text and as JSON; "-" and null when the asset has none.
std::pair<std::string, Tool_Json> Tool_ShowAttribute(BDM_Asset& iAsset,
                                                     const BDM_AttributeTag& iTag);
