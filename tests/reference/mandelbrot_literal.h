// A literal Mandelbrot generator: one thread, scalar doubles, the column by
// column loop, a 16-bit count array, pixels through the shared helpers, the
// fountain rendered and copied, the square coloured whole and then cut.
#pragma once

#include "kind/master_record.h"

namespace tsn::reference {

MemHandle LiteralMandelbrotRender(MasterTextureRecord* rec);

}  // namespace tsn::reference
