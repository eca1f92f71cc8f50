#include "tests/reference/ripples_literal.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/detmath.h"
#include "core/image.h"
#include "core/random.h"

namespace tsn::reference {

MemHandle LiteralRipples(const RipplesParameters& b) {
    const RippleSettings s = RippleSettingsOf(b);
    const double longer = std::max(s.w, s.h);
    Rng rng;
    rng.Seed(std::uint32_t(b.seed));
    std::vector<RippleDrop> drops(s.drops);
    for (RippleDrop& d : drops) {
        d.x = rng.Next() / 32768.0 * s.w;
        d.y = rng.Next() / 32768.0 * s.h;
        const double age = rng.Next() / 32768.0;
        d.front = s.wavelength + age * age * 0.6 * longer;
        d.amplitude = (0.4 + 0.6 * rng.Next() / 32767.0) * DetPow(1 - s.damping, d.front / longer);
    }
    MemHandle out = NewImage(s.w, s.h);
    ImageView v;
    if (!out || !LockImage(out, &v)) return out;
    for (int y = 0; y < s.h; ++y)
        for (int x = 0; x < s.w; ++x) {
            double sx = 0, sy = 0;
            for (const RippleDrop& d : drops) {
                const double dx = x + 0.5 - d.x, dy = y + 0.5 - d.y;
                const double r = std::sqrt(dx * dx + dy * dy);
                if (r == 0) continue;
                const double slope = d.amplitude * RippleSlope(s, r - d.front);
                sx += slope * dx / r;
                sy += slope * dy / r;
            }
            SetPixel(v, x, y, RippleShade(s, sx, sy, RippleSky(s, y + 0.5)));
        }
    UnlockImage(&v);
    return out;
}

}  // namespace tsn::reference
