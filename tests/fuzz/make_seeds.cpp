// Writes the fuzz targets' seed inputs with the project's own writers: a
// settings file per selected kind, a preset of every kind (its index byte
// first), every kind's block after its header (the same) and the
// configuration file with its defaults, a fountain library and a colour
// database, a small PNG, a compressed artwork resource and a batch manifest.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <zlib.h>

#include <cstring>

#include "app/config_file.h"
#include "app/kind_list.h"
#include "app/matrix_library.h"
#include "app/presets.h"
#include "app/session.h"
#include "cli/image_io.h"
#include "colour/colour_database.h"
#include "colour/fountain_library.h"
#include "core/image.h"
#include "core/platform.h"
#include "core/tile_list.h"
#include "kind/master_record.h"
#include "kinds/pipes/pipes.h"
#include "synth/compressed_image.h"

using namespace tsn;

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: fuzz_make_seeds FOLDER\n");
        return 2;
    }
    const std::string out = argv[1];
    for (const char* sub : {"/settings/", "/preset/", "/config/", "/render/", "/library/",
                            "/fountains/", "/colours/", "/image/", "/manifest/"})
        if (!MakeFolders((out + sub).c_str())) return 1;
    HeadlessSession s;
    if (!StartHeadlessSession(&s, SessionArguments{})) return 1;
    bool ok = true;
    for (int k = 0; k < kKindCount; ++k) {
        const std::string key = KindOf(k).key;
        s.rec->kindIndex = k;
        {
            const KindDescriptor& d = KindOf(k);
            std::ofstream seed(out + "/render/" + key, std::ios::binary);
            seed.put(char(k));
            seed.write(reinterpret_cast<const char*>(BlockAt(s.rec, d.blockOffset)) + 16,
                       std::streamsize(d.blockSize - 16));
            ok = bool(seed) && ok;
        }
        ok = SaveSettingsFile(*s.rec, (out + "/settings/" + key).c_str()) && ok;
        const std::string preset = out + "/preset/" + key + ".raw";
        if (!SavePresetFile(s.rec, k, preset.c_str())) continue;  // kinds without presets
        std::ifstream in(preset, std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
        in.close();
        std::remove(preset.c_str());
        std::ofstream seed(out + "/preset/" + key, std::ios::binary);
        seed.put(char(k));
        seed << bytes;
        ok = bool(seed) && ok;
    }
    // The default tile's library, and one with a 1-bit, padded tile added.
    const PageRef tiles = RefOf(&s.page);
    ok = WriteLibraryFile((out + "/library/default.mtx").c_str(), tiles, 404) && ok;
    static const std::uint8_t kOneBit[] = {40,  0,   0, 0,    3, 0, 0, 0,    2, 0, 0, 0, 1, 0, 1,
                                           0,   0,   0, 0,    0, 0, 0, 0,    0, 0, 0, 0, 0, 0, 0,
                                           0,   0,   2, 0,    0, 0, 0, 0,    0, 0, 0, 0, 0, 0, 255,
                                           255, 255, 0, 0x40, 0, 0, 0, 0xA0, 0, 0, 0, 7, 7, 7};
    const MemHandle h = MemAlloc(sizeof kOneBit);
    if (void* p = MemLock(h)) std::memcpy(p, kOneBit, sizeof kOneBit);
    MemUnlock(h);
    if (!TileList().append(tiles, 404, h)) MemFree(h);
    ok = WriteLibraryFile((out + "/library/two-tiles.mtx").c_str(), tiles, 404) && ok;
    EndHeadlessSession(&s);
    ConfigValues c;
    ResetConfig(&c);
    ok = WriteConfigFile(c, (out + "/config/defaults.ini").c_str()) && ok;
    FountainDefinition f[9];
    BuildMutationFountains(7, f);
    ok = WriteFountainLibrary((out + "/fountains/two.fll").c_str(), f, 2) && ok;
    const NamedColour colours[] = {{"Red", 0x0000FF}, {"Sky blue ", 0xEBCE87}, {"x", 0}};
    ok = SaveColourDatabase((out + "/colours/three.ccl").c_str(), colours, 3) && ok;
    // Image seeds carry the reader's byte first: 0 PNG, 1 compressed, 2 a
    // 16-bit height map.
    const std::string png = out + "/image/small.png";
    const MemHandle picture = NewImage(5, 3);
    std::string error;
    ok = picture && WriteImageFile(picture, png, &error) && ok;
    MemFree(picture);
    std::ifstream in(png, std::ios::binary);
    const std::string pngBytes((std::istreambuf_iterator<char>(in)),
                               std::istreambuf_iterator<char>());
    in.close();
    std::remove(png.c_str());
    std::ofstream(out + "/image/png", std::ios::binary) << '\0' << pngBytes;
    HeightField heights;
    ok = heights.Resize(4, 3) && ok;
    for (std::size_t i = 0; i < heights.level.size(); ++i)
        heights.level[i] = std::uint16_t(i * 5000);
    const std::string heightPng = out + "/image/heights.png";
    ok = WriteHeightFile(heights, heightPng, &error) && ok;
    std::ifstream hin(heightPng, std::ios::binary);
    const std::string heightBytes((std::istreambuf_iterator<char>(hin)),
                                  std::istreambuf_iterator<char>());
    hin.close();
    std::remove(heightPng.c_str());
    std::ofstream(out + "/image/heights", std::ios::binary) << '\2' << heightBytes;
    // The artwork is a megabyte a piece once unpacked, too slow to mutate:
    // the seed is its first piece cut to 8 x 8 pixels, in the same format.
    const MemHandle art = DecodeCompressedImage(kPipesArtId);
    const auto* dib = static_cast<const std::uint8_t*>(MemLock(art));
    ok = dib && MemSize(art) >= 40 + 8 * 8 * 4 && ok;
    if (dib) {
        std::vector<std::uint8_t> small(dib, dib + 40 + 8 * 8 * 4), packed(200 + small.size());
        small[4] = small[8] = 8;
        small[5] = small[6] = small[9] = small[10] = 0;
        small[20] = 0, small[21] = 1, small[22] = small[23] = 0;  // 256 bytes of pixels
        uLongf length = uLongf(packed.size());
        ok = compress2(packed.data(), &length, small.data(), uLong(small.size()), 9) == Z_OK && ok;
        std::uint8_t header[52] = {'C', 'P', 'X', '_', 'H', 'E', 'A', 'D'};
        for (int i = 0; i < 4; ++i) {
            header[8 + i] = std::uint8_t(small.size() >> (8 * i));
            header[12 + i] = std::uint8_t(length >> (8 * i));
        }
        header[16] = 1;
        std::ofstream cpx(out + "/image/artwork", std::ios::binary);
        cpx.put(1);
        cpx.write(reinterpret_cast<const char*>(header), sizeof header);
        cpx.write(reinterpret_cast<const char*>(packed.data()), std::streamsize(length));
        MemUnlock(art);
    }
    MemFree(art);
    // A manifest using every form of quoting, a comment, a continued line
    // and the maps' options.
    std::ofstream(out + "/manifest/wall.txt")
        << "# the east wall\n"
           "noise --seed 101 --width 64 --depth 48 -o tiles/noise-101.png\n"
           "craters --tileable --seed 7 -o 'tiles/rock.png' --height tiles/rock-h.png \\\n"
           "  --normal \"tiles/rock n.png\" --normal-y down --normal-strength 4\n"
           "'CGI Sea' --set size=64 -o \"tiles/sea \\\"64\\\".png\"  # trailing\n"
           "--from looks/marble.texture --preset Nothing -o tiles/m\\ arble.bmp\n"
           "\n"
           "plasma -o '' --png-level 9 --save-settings s.texture\n"
           "mandelbrot -o x.png; rm -rf /\n"
           "noise -o 'open quote\n";
    return ok ? 0 : 1;
}
