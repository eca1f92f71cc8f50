// Writes the fuzz targets' seed inputs with the project's own writers: a
// settings file per selected kind, a preset of every kind (its index byte
// first), every kind's block after its header (the same) and the
// configuration file with its defaults, a fountain library and a colour
// database.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "common/colour_database.h"
#include "common/platform.h"
#include "plugin/catalogue.h"
#include "plugin/config_file.h"
#include "plugin/master_record.h"
#include "plugin/presets.h"
#include "plugin/session.h"
#include "textures/gradient/fountain_library.h"

using namespace tsn;

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: fuzz_make_seeds FOLDER\n");
        return 2;
    }
    const std::string out = argv[1];
    for (const char* sub :
         {"/settings/", "/preset/", "/config/", "/render/", "/fountains/", "/colours/"})
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
