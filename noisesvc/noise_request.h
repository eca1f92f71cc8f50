// The request record of the coherent-noise image service: 432 bytes,
// little-endian, one sub-block per kind at a fixed place. A caller zeroes
// the whole record, writes the kind at offset 0 and that kind's sub-block
// only; every other byte stays zero. Colours are 0x00BBGGRR, flags 0 or 1,
// quality 0 Fast, 1 Standard, 2 Best.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tsn {

enum NoiseImageKind : std::uint32_t {
    kNoiseJade = 0,
    kNoiseWood = 1,
    kNoiseGranite = 2,
    kNoiseSky = 3,
    kNoiseSea = 4,
    kNoiseSlime = 5,
    kNoiseTerrain = 6,
    kNoiseReserved = 7,  // has a slot, is never sent, and is refused
    kNoiseTurbulence = 8,
};

#pragma pack(push, 1)
struct NoiseJadeBlock {
    std::uint32_t size, tileable, seed;
    double frequency;
    double secondScale;  // always 2.20703125
    std::uint32_t octaves, quality;
    std::uint32_t colours[5];
};
struct NoiseWoodBlock {
    std::uint32_t size, tileable, seed;
    double frequency;
    std::uint32_t octaves;  // always 1
    std::uint32_t quality;
    std::uint32_t colours[3];
};
struct NoiseGraniteBlock {
    std::uint32_t size, tileable, seed;
    double frequency;
    std::uint32_t octaves, quality;
    std::uint32_t colours[7];
};
struct NoiseSkyBlock {  // quality follows the colours here
    std::uint32_t size, tileable, seed;
    double frequency;
    std::uint32_t octaves;
    std::uint32_t colours[6];
    std::uint32_t quality;
};
struct NoiseSeaBlock {
    std::uint32_t size, tileable, seed, zero;
    double frequency;
    std::uint32_t octaves;
    std::uint32_t colours[3];
    std::uint32_t quality;
};
struct NoiseSlimeBlock {
    std::uint32_t size, tileable, seed;
    double frequency;
    std::uint32_t octaves;
    std::uint32_t colours[3];
    std::uint32_t quality;
};
struct NoiseTerrainBlock {  // no frequency
    std::uint32_t size, tileable, seed;
    std::uint32_t colours[8];
    std::uint32_t octaves, complex, quality;
};
struct NoiseTurbulenceBlock {
    std::uint32_t size, tileable, seed, zero0;
    double frequency, power;
    std::uint32_t quality;
    std::uint32_t colours[4];
    std::uint32_t zero1;
};

struct NoiseImageRequest {
    std::uint32_t kind;
    NoiseJadeBlock jade;
    NoiseWoodBlock wood;
    NoiseGraniteBlock granite;
    NoiseSkyBlock sky;
    NoiseSeaBlock sea;
    NoiseSlimeBlock slime;
    NoiseTerrainBlock terrain;
    std::uint8_t reserved[28];
    NoiseTurbulenceBlock turbulence;
};
#pragma pack(pop)

#define TSN_AT(f, at) static_assert(offsetof(NoiseImageRequest, f) == (at))
static_assert(sizeof(NoiseImageRequest) == 432);
TSN_AT(jade.size, 4);
TSN_AT(jade.tileable, 8);
TSN_AT(jade.seed, 12);
TSN_AT(jade.frequency, 16);
TSN_AT(jade.secondScale, 24);
TSN_AT(jade.octaves, 32);
TSN_AT(jade.quality, 36);
TSN_AT(jade.colours, 40);
TSN_AT(wood.size, 60);
TSN_AT(wood.tileable, 64);
TSN_AT(wood.seed, 68);
TSN_AT(wood.frequency, 72);
TSN_AT(wood.octaves, 80);
TSN_AT(wood.quality, 84);
TSN_AT(wood.colours, 88);
TSN_AT(granite.size, 100);
TSN_AT(granite.tileable, 104);
TSN_AT(granite.seed, 108);
TSN_AT(granite.frequency, 112);
TSN_AT(granite.octaves, 120);
TSN_AT(granite.quality, 124);
TSN_AT(granite.colours, 128);
TSN_AT(sky.size, 156);
TSN_AT(sky.tileable, 160);
TSN_AT(sky.seed, 164);
TSN_AT(sky.frequency, 168);
TSN_AT(sky.octaves, 176);
TSN_AT(sky.colours, 180);
TSN_AT(sky.quality, 204);
TSN_AT(sea.size, 208);
TSN_AT(sea.tileable, 212);
TSN_AT(sea.seed, 216);
TSN_AT(sea.zero, 220);
TSN_AT(sea.frequency, 224);
TSN_AT(sea.octaves, 232);
TSN_AT(sea.colours, 236);
TSN_AT(sea.quality, 248);
TSN_AT(slime.size, 252);
TSN_AT(slime.tileable, 256);
TSN_AT(slime.seed, 260);
TSN_AT(slime.frequency, 264);
TSN_AT(slime.octaves, 272);
TSN_AT(slime.colours, 276);
TSN_AT(slime.quality, 288);
TSN_AT(terrain.size, 292);
TSN_AT(terrain.tileable, 296);
TSN_AT(terrain.seed, 300);
TSN_AT(terrain.colours, 304);
TSN_AT(terrain.octaves, 336);
TSN_AT(terrain.complex, 340);
TSN_AT(terrain.quality, 344);
TSN_AT(reserved, 348);
TSN_AT(turbulence.size, 376);
TSN_AT(turbulence.tileable, 380);
TSN_AT(turbulence.seed, 384);
TSN_AT(turbulence.zero0, 388);
TSN_AT(turbulence.frequency, 392);
TSN_AT(turbulence.power, 400);
TSN_AT(turbulence.quality, 408);
TSN_AT(turbulence.colours, 412);
TSN_AT(turbulence.zero1, 428);
#undef TSN_AT

}  // namespace tsn
