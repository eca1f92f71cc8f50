// A literal Plasma generator written step by step from the kind's
// definition: its own copy of the runtime library's generator, every pixel
// read and written through the shared pixel helpers. What the product's
// direct-row version must equal.
#pragma once

#include "kind/master_record.h"

namespace tsn::reference {

MemHandle LiteralPlasmaRender(MasterTextureRecord* rec);

}  // namespace tsn::reference
