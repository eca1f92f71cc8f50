// The list of texture kinds in texture-list order (which is also the
// record's kind index): the dialog, the command line, the tools and the
// tests ask it and the descriptors, and never name a kind in code. Adding a
// kind means one line in kind_list.cpp.
#pragma once

#include <cstdint>

#include "kind/descriptor.h"
#include "kind/master_record.h"

namespace tsn {

const KindDescriptor& KindOf(int index);
const TextureKind& KindAt(int index);

// Index of the kind with this key or display name (case-insensitive), or -1.
int FindKind(const char* keyOrName);

// Index of the kind whose block carries `signature`, whose preset files are
// `length` bytes long when that is given (not 0), and, among those, whose
// key is `keyHint` when one is (two kinds share a signature); -1 if none.
int FindKindBySignature(const char* signature, const char* keyHint, std::uint64_t length = 0);
// Index of the kind whose page has this preset list, or -1.
int KindOfPresetList(std::uint32_t id);

void ResetAllKinds(MasterTextureRecord* rec);
void ReleaseAllKinds(MasterTextureRecord* rec);

// Fountain file names that arrived with a record from a file are kept only
// when they name a fountain record file (ForgetUntrustedFileName): every
// fountain of kind `kind`'s block, or of every block and the mutations.
void ForgetUntrustedFountainNames(MasterTextureRecord* rec, int kind);
void ForgetAllUntrustedFountainNames(MasterTextureRecord* rec);

// Page templates are numbered by the kinds' control ranges: the kind whose
// controls have the lowest identifiers has page 1. Returns 1 .. 23.
int PageTemplateNumber(int kind);
// The kind whose page template has this number, or -1.
int KindOfPageTemplate(int number);

}  // namespace tsn
