// Plain values that interchange files share with the OMF object layer: a mob identity and a
// rational edit rate, laid out as the OMF files store them.
#pragma once

#include <cstdint>

struct omfUID_t
{
    int32_t prefix = 0;
    uint32_t major = 0;
    uint32_t minor = 0;
    bool operator==(const omfUID_t&) const = default;
};

struct omfRational_t
{
    int32_t numerator = 0;
    int32_t denominator = 1;
    bool operator==(const omfRational_t&) const = default;
};
