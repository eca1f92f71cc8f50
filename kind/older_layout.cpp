#include "kind/older_layout.h"

#include <cstring>
#include <vector>

#include "colour/fountain.h"
#include "kind/descriptor.h"

namespace tsn {

namespace {

void MoveFountain(const std::uint8_t* from, std::uint8_t* to, bool toCurrent) {
    if (toCurrent) {
        FountainDefinition581 older;
        FountainDefinition current;
        std::memcpy(&older, from, sizeof older);
        ConvertFountain581To585(older, &current);
        std::memcpy(to, &current, sizeof current);
    } else {
        FountainDefinition current;
        FountainDefinition581 older;
        std::memcpy(&current, from, sizeof current);
        ConvertFountain585To581(current, &older);
        std::memcpy(to, &older, sizeof older);
    }
}

}  // namespace

std::int64_t ConvertOlderLayout(const OlderLayout& layout, MasterTextureRecord* rec, int code) {
    if (code != kQueryConvertIn && code != kQueryConvertOut) return 0;
    const bool toCurrent = code == kQueryConvertIn;
    const std::uint32_t fromSize = toCurrent ? layout.olderSize : layout.currentSize;
    const std::uint32_t toSize = toCurrent ? layout.currentSize : layout.olderSize;
    if (rec->transferSourceSize != fromSize || rec->transferTargetSize != toSize) return 0;
    const auto* from =
        reinterpret_cast<const std::uint8_t*>(static_cast<std::uintptr_t>(rec->transferSource));
    auto* to = reinterpret_cast<std::uint8_t*>(static_cast<std::uintptr_t>(rec->transferTarget));
    if (!from || !to) return 0;
    // Into a copy first: source and target may be the same block's bytes.
    std::vector<std::uint8_t> out(toSize, 0);
    if (layout.keepsUnnamedBytes) std::memcpy(out.data(), to, toSize);
    for (int i = 0; i < layout.count; ++i) {
        const LayoutField& f = layout.fields[i];
        const std::uint32_t at = toCurrent ? f.older : f.current;
        const std::uint32_t put = toCurrent ? f.current : f.older;
        if (f.move == FieldMove::Fountain)
            MoveFountain(from + at, out.data() + put, toCurrent);
        else
            std::memcpy(out.data() + put, from + at, f.bytes);
    }
    const std::uint32_t size = layout.sizeIsAlwaysCurrent ? layout.currentSize : toSize;
    std::memcpy(out.data() + 12, &size, 4);
    std::memcpy(to, out.data(), toSize);
    return 1;
}

}  // namespace tsn
