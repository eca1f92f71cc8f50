// A literal, single-threaded Noise generator written step by step from the
// kind's definition, with its own random generator, layer images and global
// lattice. It is slow on purpose: it is what the fast generator must equal.
#pragma once

#include "kind/master_record.h"

namespace tsn::reference {

MemHandle LiteralNoiseRender(MasterTextureRecord* rec);

}  // namespace tsn::reference
