// What the parts of the Pipes kind share: locked 32-bit tiles, their
// scaling, and the colour effects. Only the kind's own files include it.
#pragma once

#include <cstdint>

#include "core/image.h"
#include "core/platform.h"

namespace tsn::pipes {

// A locked packed 32-bit bitmap; rows top-down as in ImageView.
struct Dib32 {
    MemHandle handle = 0;
    BitmapInfoHeader* header = nullptr;
    std::uint8_t* bits = nullptr;
    int width = 0, depth = 0;
    std::uint8_t* Row(int y) const {
        return bits + std::size_t(depth - 1 - y) * std::size_t(width) * 4;
    }
};

bool LockDib32(MemHandle h, Dib32* d);
void UnlockDib32(Dib32* d);
MemHandle NewDib32(int width, int depth);
// A new copy of a tile scaled to cell x cell pixels, each axis on its own.
MemHandle ScaleDib32(MemHandle src, int cell);

// Effect `effect` (0 none .. 8) applied to *tile, with the tones last set.
void ApplyEffect(MemHandle* tile, std::uint32_t effect);
// The valves of a tile in colour `index` of the page's list.
void RecolourValves(MemHandle tile, std::uint32_t index);

}  // namespace tsn::pipes
