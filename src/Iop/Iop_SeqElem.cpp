#include "Iop/Iop_SeqElem.h"

#include <algorithm>

int64_t Iop_Sequence::GetEnd() const
{
    int64_t end = 0;
    for (const Iop_SeqElem& elem : mElements)
        end = std::max(end, elem.mPosition + elem.mLength);
    return end;
}
