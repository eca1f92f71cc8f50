#include "kind/descriptor.h"

#include <cstring>
#include <vector>

#include "kind/page_transfer.h"
#include "kind/render_step.h"

namespace tsn {

const PageField* FieldWithRole(const PageTable& t, Role role) {
    for (int i = 0; i < t.count; ++i)
        if (t.fields[i].role == role && t.fields[i].type != FieldType::Fountain)
            return &t.fields[i];
    return nullptr;
}

const PageField* FountainField(const PageTable& t) {
    for (int i = 0; i < t.count; ++i)
        if (t.fields[i].type == FieldType::Fountain) return &t.fields[i];
    return nullptr;
}

int ResetKindBlock(const KindDescriptor& k, MasterTextureRecord* rec) {
    std::uint8_t* b = BlockAt(rec, k.blockOffset);
    std::memset(b, 0, k.blockSize);
    WriteHeader(b, k.signature, k.blockSize);
    if (!k.page) return 1;
    ApplyBlockDefaults(*k.page, b);
    for (int i = 0; i < k.page->count; ++i)
        if (k.page->fields[i].type == FieldType::Fountain) {
            FountainDefinition f;
            ResetFountain(&f);
            std::memcpy(b + k.page->fields[i].offset, &f, sizeof f);
        }
    return 1;
}

MemHandle GreyImageAt(const MasterTextureRecord* rec, std::uint32_t slot) {
    MemHandle h;
    std::memcpy(&h, reinterpret_cast<const std::uint8_t*>(rec) + slot, sizeof h);
    return h;
}

void SetGreyImageAt(MasterTextureRecord* rec, std::uint32_t slot, MemHandle grey) {
    std::memcpy(BlockAt(rec, slot), &grey, sizeof grey);
}

int ReleaseGreySlot(const KindDescriptor& k, MasterTextureRecord* rec) {
    if (k.greySlot) {
        MemFree(GreyImageAt(rec, k.greySlot));
        SetGreyImageAt(rec, k.greySlot, 0);
    }
    return 1;
}

std::int64_t CopyTransfer(MasterTextureRecord* rec, std::uint32_t size) {
    if (rec->transferSourceSize != size || rec->transferTargetSize != size) return 0;
    if (!rec->transferSource || !rec->transferTarget) return 0;
    std::memmove(reinterpret_cast<void*>(static_cast<std::uintptr_t>(rec->transferTarget)),
                 reinterpret_cast<const void*>(static_cast<std::uintptr_t>(rec->transferSource)),
                 size);
    return 1;
}

void ShowStatus(const KindDescriptor& k, const std::uint8_t* block, PageRef page) {
    if (!k.statusText || !k.statusControl) return;
    char text[128];
    text[0] = 0;
    k.statusText(block, text, sizeof text);
    Page().setText(page, k.statusControl, text);
}

void ShowEditedStatus(const KindDescriptor& k, MasterTextureRecord* rec) {
    if (!k.statusText || !k.page) return;
    // What the next render would read, without storing it into the block.
    const std::uint8_t* block = BlockAt(rec, k.blockOffset);
    std::vector<std::uint8_t> shown(block, block + k.blockSize);
    PageToBlock(*k.page, rec->dialog, shown.data());
    ShowStatus(k, shown.data(), rec->dialog);
}

std::int64_t StandardQuery(const KindDescriptor& k, MasterTextureRecord* rec, int code) {
    const bool colourMap = (k.flags & kKindHasColourMap) && k.page;
    switch (code) {
        case kQueryIndexImage:
            return k.greySlot ? std::int64_t(GreyImageAt(rec, k.greySlot)) : 0;
        case kQuerySeed: {
            if (k.seedQueryControl) return ReadPageInteger(rec->dialog, k.seedQueryControl);
            const PageField* seed = k.page ? FieldWithRole(*k.page, Role::Seed) : nullptr;
            return seed ? ReadPageInteger(rec->dialog, seed->id) : 0;
        }
        case kQueryFountain:
        case kQueryFountainControl: {
            const PageField* f = colourMap ? FountainField(*k.page) : nullptr;
            if (!f) return 0;
            if (code == kQueryFountainControl) return f->id;
            return std::int64_t(
                reinterpret_cast<std::uintptr_t>(BlockAt(rec, k.blockOffset) + f->offset));
        }
        case kQueryConvertIn:
        case kQueryConvertOut:
            // Kinds with an older layout convert in their own query.
            return k.oldBlockSize && k.oldBlockSize != k.blockSize ? 0
                                                                   : CopyTransfer(rec, k.blockSize);
        case kQueryBlockSize:
            return k.blockSize;
        case kQueryOldBlockSize:
            return k.oldBlockSize ? k.oldBlockSize : k.blockSize;
        case kQueryRefreshControls:
            ShowEditedStatus(k, rec);
            return 0;
        default:
            return 0;
    }
}

}  // namespace tsn
