// The dialog's image-picking request: a file dialog for BMP and PNG images,
// the picked file as a packed bitmap. PNG files are decoded by the system's
// imaging component through COM, so the module imports nothing new.
#include <windows.h>
// After windows.h, which they need.
#include <commdlg.h>
#include <wincodec.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "core/image.h"
#include "frame/frame.h"
#include "kinds/matrix/matrix_tiles.h"

namespace tsn::win {

namespace {

// Defined here rather than taken from an import library.
const CLSID kWicFactory = {
    0xcacaf262, 0x9370, 0x4615, {0xa1, 0x3b, 0x9f, 0x55, 0x39, 0xda, 0x4c, 0x0a}};
const IID kWicFactoryIid = {
    0xec5ec8a9, 0xc395, 0x4314, {0x9c, 0x77, 0x54, 0xd7, 0xa9, 0x35, 0xff, 0x70}};
const GUID kBgr24 = {0x6fddc324, 0x4e03, 0x4bfe, {0xb1, 0x85, 0x3d, 0x77, 0x76, 0x8d, 0xc9, 0x0c}};

template <class T>
void Release(T*& p) {
    if (p) p->Release();
    p = nullptr;
}

std::vector<BYTE> ReadBytes(const char* path) {
    std::vector<BYTE> bytes;
    if (std::FILE* f = std::fopen(path, "rb")) {
        BYTE buf[65536];
        std::size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) bytes.insert(bytes.end(), buf, buf + n);
        std::fclose(f);
    }
    return bytes;
}

// A 24-bit image block of the PNG's pixels; 0 on failure.
MemHandle DecodePng(std::vector<BYTE>& bytes) {
    const HRESULT init = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    IWICImagingFactory* factory = nullptr;
    IWICStream* stream = nullptr;
    IWICBitmapDecoder* decoder = nullptr;
    IWICBitmapFrameDecode* frame = nullptr;
    IWICFormatConverter* converter = nullptr;
    MemHandle image = 0;
    UINT w = 0, h = 0;
    bool ok = SUCCEEDED(CoCreateInstance(kWicFactory, nullptr, CLSCTX_INPROC_SERVER, kWicFactoryIid,
                                         reinterpret_cast<void**>(&factory))) &&
              SUCCEEDED(factory->CreateStream(&stream)) &&
              SUCCEEDED(stream->InitializeFromMemory(bytes.data(), DWORD(bytes.size()))) &&
              SUCCEEDED(factory->CreateDecoderFromStream(
                  stream, nullptr, WICDecodeMetadataCacheOnDemand, &decoder)) &&
              SUCCEEDED(decoder->GetFrame(0, &frame)) &&
              SUCCEEDED(factory->CreateFormatConverter(&converter)) &&
              SUCCEEDED(converter->Initialize(frame, kBgr24, WICBitmapDitherTypeNone, nullptr, 0.0,
                                              WICBitmapPaletteTypeCustom)) &&
              SUCCEEDED(converter->GetSize(&w, &h)) && w > 0 && h > 0 && w <= 32760 && h <= 32760;
    ImageView v;
    if (ok && (image = NewImage(int(w), int(h))) && LockImage(image, &v)) {
        for (int y = 0; ok && y < v.depth; ++y) {
            const WICRect row = {0, y, v.width, 1};
            ok = SUCCEEDED(converter->CopyPixels(&row, UINT(v.stride), UINT(v.stride), v.Row(y)));
        }
        UnlockImage(&v);
    } else {
        ok = false;
    }
    Release(converter);
    Release(frame);
    Release(decoder);
    Release(stream);
    Release(factory);
    if (SUCCEEDED(init)) CoUninitialize();
    if (!ok) MemFree(image);
    return ok ? image : 0;
}

}  // namespace

LRESULT PickImage(HWND dlg) {
    char file[kMaxPath + 1] = {};
    OPENFILENAMEA ofn = {};
    ofn.lStructSize = sizeof ofn;
    ofn.hwndOwner = dlg;
    ofn.lpstrFilter =
        "Images (*.bmp;*.png)\0*.bmp;*.png\0Bitmaps (*.bmp)\0*.bmp\0PNG images (*.png)\0*.png\0";
    ofn.lpstrFile = file;
    ofn.nMaxFile = sizeof file;
    ofn.lpstrTitle = "Add a matrix tile";
    ofn.Flags = OFN_FILEMUSTEXIST | OFN_PATHMUSTEXIST | OFN_HIDEREADONLY;
    if (!GetOpenFileNameA(&ofn)) return CommDlgExtendedError() == 0 ? LRESULT(-1) : 0;
    std::vector<BYTE> bytes = ReadBytes(file);
    if (bytes.size() >= 2 && bytes[0] == 'B' && bytes[1] == 'M')
        return LRESULT(PackedDibFromBmp(bytes.data(), bytes.size()));
    static const BYTE kPng[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (bytes.size() >= 8 && std::equal(kPng, kPng + 8, bytes.begin()))
        return LRESULT(DecodePng(bytes));
    return 0;
}

}  // namespace tsn::win
