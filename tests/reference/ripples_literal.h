// A literal Ripples picture: the drops drawn again from the definition, and
// every drop's wave train evaluated from its formula at every pixel, with
// no table and no reach cut-off. The product's picture must stay within a
// level or two of it.
#pragma once

#include "core/platform.h"
#include "kinds/ripples.h"

namespace tsn::reference {

MemHandle LiteralRipples(const RipplesParameters& b);

}  // namespace tsn::reference
