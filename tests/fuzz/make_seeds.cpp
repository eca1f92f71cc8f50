// Writes the fuzz targets' seed inputs with the project's own writers: a
// settings file per selected kind, a preset of every kind (its index byte
// first), every kind's block after its header (the same) and the
// configuration file with its defaults, a fountain library and a colour
// database.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include <cstring>

#include "common/colour_database.h"
#include "common/platform.h"
#include "common/tile_list.h"
#include "plugin/catalogue.h"
#include "plugin/config_file.h"
#include "plugin/master_record.h"
#include "plugin/presets.h"
#include "plugin/session.h"
#include "textures/gradient/fountain_library.h"
#include "textures/structured/matrix_library.h"

using namespace tsn;

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: fuzz_make_seeds FOLDER\n");
        return 2;
    }
    const std::string out = argv[1];
    for (const char* sub : {"/settings/", "/preset/", "/config/", "/render/", "/library/",
                            "/fountains/", "/colours/"})
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
    return ok ? 0 : 1;
}
