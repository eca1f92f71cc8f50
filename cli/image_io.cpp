#include "cli/image_io.h"

#include <isa-l.h>
#include <png.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "app/session.h"
#include "cli/png_filter.h"
#include "core/image.h"
#include "core/parallel.h"

namespace tsn {

namespace {

std::string Extension(const std::string& path) {
    const auto dot = path.find_last_of('.');
    const auto slash = path.find_last_of('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    std::string ext = path.substr(dot + 1);
    for (char& c : ext) c = char(std::tolower(static_cast<unsigned char>(c)));
    return ext;
}

bool WriteBmp(const ImageView& v, std::FILE* f) {
    const std::uint32_t dib = std::uint32_t(sizeof(BitmapInfoHeader) + v.stride * v.depth);
    unsigned char header[14] = {'B', 'M'};
    const std::uint32_t fileSize = 14 + dib, offset = 14 + 40;
    std::memcpy(header + 2, &fileSize, 4);
    std::memcpy(header + 10, &offset, 4);
    return std::fwrite(header, 1, 14, f) == 14 && std::fwrite(v.header, 1, dib, f) == dib;
}

// ISA-L's routines use the processor's wide vector registers and may leave
// their upper halves in use; until they are cleared, every SSE instruction
// after them (the row filters) runs several times slower.
__attribute__((target("avx"))) void ZeroUpper() {
    __builtin_ia32_vzeroupper();
}
void ClearUpperVectorState() {
    static const bool avx = __builtin_cpu_supports("avx");
    if (avx) ZeroUpper();
}

// One band of rows, filtered and deflated on its own.
// Its buffers are kept from band to band and never cleared: every byte
// used is written first.
struct PngBand {
    int y0 = 0, y1 = 0;
    std::unique_ptr<unsigned char[]> raw, packed;
    std::size_t rawCapacity = 0, packedCapacity = 0, packedSize = 0;
    std::vector<unsigned char> levelBuffer;  // ISA-L's working memory
    uLong adler = 0;
    bool ok = false;
};

// Filters and deflates rows y0 .. y1 - 1 of `v` as raw deflate data. A band
// that is not the last ends with a full flush, so it ends on a byte boundary
// with no reference into the next band and the bands join into one stream.
void PackBand(const ImageView& v, int level, bool last, PngBand* band) {
    const std::size_t n = std::size_t(v.width) * 3;
    std::vector<unsigned char> rgb(n), above(n);
    const std::size_t rawSize = (n + 1) * std::size_t(band->y1 - band->y0);
    band->ok = false;
    if (band->rawCapacity < rawSize) {
        band->raw = std::make_unique_for_overwrite<unsigned char[]>(rawSize);
        band->rawCapacity = rawSize;
    }
    auto toRgb = [&](int y, unsigned char* out) {
        const unsigned char* s = v.Row(y);
        for (std::size_t i = 0; i < n; i += 3) {
            out[i] = s[i + 2];
            out[i + 1] = s[i + 1];
            out[i + 2] = s[i];
        }
    };
    if (band->y0 > 0) toRgb(band->y0 - 1, above.data());
    unsigned char* out = band->raw.get();
    for (int y = band->y0; y < band->y1; ++y, out += n + 1) {
        toRgb(y, rgb.data());
        FilterPngRow(rgb.data(), above.data(), n, out);
        std::swap(rgb, above);
    }
    band->adler = isal_adler32(1, band->raw.get(), rawSize);
    ClearUpperVectorState();
    // Room for the check value after the last band's data as well. Stored
    // blocks, the worst case, add a few bytes to every 16 KiB (zlib) or
    // 64 KiB (ISA-L).
    const std::size_t bound = rawSize + (rawSize >> 10) + 1024;
    if (band->packedCapacity < bound) {
        band->packed = std::make_unique_for_overwrite<unsigned char[]>(bound);
        band->packedCapacity = bound;
    }
    if (level == 1) {
        // The default level uses ISA-L's deflate, three times the speed of
        // zlib's fastest on these pictures for a tenth more bytes.
        isal_zstream z;
        isal_deflate_stateless_init(&z);
        z.level = 1;
        if (band->levelBuffer.size() < ISAL_DEF_LVL1_DEFAULT)
            band->levelBuffer.resize(ISAL_DEF_LVL1_DEFAULT);
        z.level_buf = band->levelBuffer.data();
        z.level_buf_size = std::uint32_t(band->levelBuffer.size());
        z.next_in = band->raw.get();
        z.avail_in = std::uint32_t(rawSize);
        z.next_out = band->packed.get();
        z.avail_out = std::uint32_t(bound - 4);
        z.flush = FULL_FLUSH;
        z.end_of_stream = last ? 1 : 0;
        band->ok = isal_deflate_stateless(&z) == COMP_OK && z.avail_in == 0;
        ClearUpperVectorState();
        band->packedSize = bound - 4 - z.avail_out;
        return;
    }
    z_stream z{};
    // Levels 2 and 3 match runs only: on filtered pictures that is both
    // quicker and smaller than zlib's own fast matching.
    const int strategy = level == 2 || level == 3 ? Z_RLE : Z_DEFAULT_STRATEGY;
    if (deflateInit2(&z, level, Z_DEFLATED, -15, 8, strategy) != Z_OK) return;
    z.next_in = band->raw.get();
    z.avail_in = uInt(rawSize);
    z.next_out = band->packed.get();
    z.avail_out = uInt(bound - 4);
    const int r = deflate(&z, last ? Z_FINISH : Z_FULL_FLUSH);
    band->ok = (last ? r == Z_STREAM_END : r == Z_OK) && z.avail_in == 0 && z.avail_out > 0;
    band->packedSize = bound - 4 - z.avail_out;
    deflateEnd(&z);
}

// libpng writes the signature, the header chunk and the chunk framing; the
// image data is deflated here in bands on every core, a few bands at a time
// so the memory held stays small, and written in order as IDAT chunks.
bool WritePng(const ImageView& v, std::FILE* f, int level, std::string* error) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        *error = "out of memory";
        return false;
    }
    level = std::clamp(level, 0, 9);
    const std::size_t rowBytes = std::size_t(v.width) * 3 + 1;
    const int bandRows = int(std::max<std::size_t>(1, (std::size_t(1) << 20) / rowBytes));
    const int threads = std::max(1, WorkerThreads());
    std::vector<PngBand> group(std::size_t(threads) * 2);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        *error = "the PNG encoder failed";
        return false;
    }
    png_init_io(png, f);
    png_set_IHDR(png, info, png_uint_32(v.width), png_uint_32(v.depth), 8, PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);

    // The zlib header: deflate with a 32 KiB window, the level's hint, and
    // the check bits that make the pair a multiple of 31.
    const int hint = level < 2 ? 0 : level < 6 ? 1 : level == 6 ? 2 : 3;
    unsigned char head[2] = {0x78, static_cast<unsigned char>(hint << 6)};
    head[1] = static_cast<unsigned char>(head[1] + 31 - (0x78 * 256 + head[1]) % 31);
    png_write_chunk(png, reinterpret_cast<png_const_bytep>("IDAT"), head, 2);
    uLong adler = adler32(0, nullptr, 0);
    bool ok = true;
    for (int y = 0; y < v.depth && ok;) {
        std::size_t count = 0;
        for (; count < group.size() && y < v.depth; ++count, y += bandRows) {
            group[count].y0 = y;
            group[count].y1 = std::min(v.depth, y + bandRows);
        }
        std::atomic<std::size_t> next{0};
        auto work = [&] {
            for (std::size_t i; (i = next.fetch_add(1)) < count;)
                PackBand(v, level, group[i].y1 == v.depth, &group[i]);
        };
        std::vector<std::thread> helpers;
        for (int t = 1; t < threads && std::size_t(t) < count; ++t) {
            try {
                helpers.emplace_back(work);
            } catch (...) {
                break;  // fewer threads only cost speed
            }
        }
        work();
        for (auto& t : helpers) t.join();
        for (std::size_t i = 0; i < count && ok; ++i) {
            PngBand& b = group[i];
            ok = b.ok;
            if (!ok) break;
            adler = adler32_combine(adler, b.adler, z_off_t(rowBytes) * (b.y1 - b.y0));
            if (b.y1 == v.depth) {
                for (int shift = 24; shift >= 0; shift -= 8)
                    b.packed[b.packedSize++] = static_cast<unsigned char>(adler >> shift);
            }
            png_write_chunk(png, reinterpret_cast<png_const_bytep>("IDAT"), b.packed.get(),
                            b.packedSize);
        }
    }
    if (ok) png_write_chunk(png, reinterpret_cast<png_const_bytep>("IEND"), nullptr, 0);
    png_destroy_write_struct(&png, &info);
    if (!ok) *error = "the PNG encoder failed";
    return ok;
}

}  // namespace

bool IsImageExtension(const std::string& path) {
    const std::string ext = Extension(path);
    return ext == "bmp" || ext == "png";
}

std::string OutputProblem(const std::string& path, const std::string& format) {
    if (path == "-") {
        if (isatty(STDOUT_FILENO))
            return "standard output is a terminal; send the picture to a file or a program "
                   "(-o - | ..., -o - > FILE), or name a file with -o";
        if (format.empty() || format == "png" || format == "bmp") return "";
        return "--format takes png or bmp, not '" + format + "'";
    }
    const std::string ext = Extension(path);
    if (ext != "bmp" && ext != "png")
        return "cannot tell the format of '" + path + "': name it .png or .bmp";
    if (!format.empty() && format != ext)
        return "--format " + format + " disagrees with '" + path +
               "': a file's format is its extension (--format is for -o -)";
    return "";
}

namespace {

// Writes the picture to standard output, which may be a pipe: no temporary
// file and no rename, only the bytes in order.
bool WriteToStandardOutput(const ImageView& v, const std::string& format, int pngLevel,
                           std::string* error) {
    std::string why;
    errno = 0;
    bool ok = format == "bmp" ? WriteBmp(v, stdout) : WritePng(v, stdout, pngLevel, &why);
    ok = std::fflush(stdout) == 0 && ok && !std::ferror(stdout);
    if (!ok) {
        if (why.empty() && errno) why = std::strerror(errno);
        *error = "cannot write to standard output" + (why.empty() ? "" : ": " + why);
    }
    return ok;
}

}  // namespace

bool WriteImageFile(MemHandle image, const std::string& path, std::string* error, int pngLevel,
                    const std::string& format) {
    if (path == "-") {
        ImageView v;
        if (!LockImage(image, &v)) {
            *error = "no image to write";
            return false;
        }
        const bool ok = WriteToStandardOutput(v, format.empty() ? "png" : format, pngLevel, error);
        UnlockImage(&v);
        return ok;
    }
    const std::string ext = Extension(path);
    if (ext != "bmp" && ext != "png") {
        *error = "cannot tell the format of '" + path + "': name it .png or .bmp";
        return false;
    }
    ImageView v;
    if (!LockImage(image, &v)) {
        *error = "no image to write";
        return false;
    }
    std::string why;
    const auto start = std::chrono::steady_clock::now();
    errno = 0;
    const bool ok = WriteFileBeside(path.c_str(), "wb", [&](std::FILE* f) {
        return ext == "bmp" ? WriteBmp(v, f) : WritePng(v, f, pngLevel, &why);
    });
    if (!ok && why.empty() && errno) why = std::strerror(errno);
    UnlockImage(&v);
    if (ok && TimingsRequested()) {
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        std::fprintf(stderr, "write %s: %.3f s\n", path.c_str(), took.count());
    }
    if (!ok) {
        *error = "cannot write '" + path + "'" + (why.empty() ? "" : ": " + why);
        return false;
    }
    return true;
}

bool IsHeightExtension(const std::string& path) {
    const std::string ext = Extension(path);
    return ext == "png" || ext == "r16" || ext == "raw";
}

namespace {

bool WriteRaw16(const HeightField& h, std::FILE* f) {
    std::vector<std::uint8_t> row(std::size_t(h.width) * 2);
    for (int y = 0; y < h.depth; ++y) {
        const std::uint16_t* levels = h.Row(y);
        for (int x = 0; x < h.width; ++x) {
            row[2 * x] = std::uint8_t(levels[x]);
            row[2 * x + 1] = std::uint8_t(levels[x] >> 8);
        }
        if (std::fwrite(row.data(), 1, row.size(), f) != row.size()) return false;
    }
    return true;
}

void PngFailed(png_structp png, png_const_charp message) {
    auto* why = static_cast<std::string*>(png_get_error_ptr(png));
    if (why) *why = message;
    png_longjmp(png, 1);
}

// libpng's 16-bit grey path: big-endian samples in the file, swapped from
// ours by libpng. A libpng error returns here through longjmp, and nothing
// set after setjmp is read afterwards.
bool WriteGrey16Rows(png_structp png, png_infop info, const HeightField& h, std::FILE* f) {
    if (setjmp(png_jmpbuf(png)) != 0) return false;
    png_init_io(png, f);
    png_set_compression_level(png, 6);
    png_set_IHDR(png, info, png_uint_32(h.width), png_uint_32(h.depth), 16, PNG_COLOR_TYPE_GRAY,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    png_set_swap(png);
    for (int y = 0; y < h.depth; ++y)
        png_write_row(png, reinterpret_cast<png_const_bytep>(h.Row(y)));
    png_write_end(png, nullptr);
    return true;
}

bool WriteGrey16Png(const HeightField& h, std::FILE* f, std::string* why) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, why, PngFailed, nullptr);
    if (!png) return false;
    png_infop info = png_create_info_struct(png);
    const bool ok = info && WriteGrey16Rows(png, info, h, f);
    png_destroy_write_struct(&png, info ? &info : nullptr);
    return ok;
}

// Reads the rows of an open 16-bit grey PNG; false with `why` set, or
// after a libpng error (through longjmp, as above).
bool ReadGrey16Rows(png_structp png, png_infop info, std::FILE* f, HeightField* out,
                    std::string* why) {
    if (setjmp(png_jmpbuf(png)) != 0) return false;
    png_init_io(png, f);
    png_read_info(png, info);
    const png_uint_32 w = png_get_image_width(png, info), d = png_get_image_height(png, info);
    if (png_get_bit_depth(png, info) != 16 ||
        png_get_color_type(png, info) != PNG_COLOR_TYPE_GRAY) {
        *why = "not a 16-bit grey PNG";
        return false;
    }
    if (w > png_uint_32(kLargestPicture) || d > png_uint_32(kLargestPicture) ||
        !out->Resize(int(w), int(d))) {
        *why = "the height map is too large";
        return false;
    }
    png_set_swap(png);
    for (int y = 0; y < out->depth; ++y)
        png_read_row(png, reinterpret_cast<png_bytep>(out->Row(y)), nullptr);
    return true;
}

}  // namespace

bool WriteHeightFile(const HeightField& h, const std::string& path, std::string* error) {
    if (!IsHeightExtension(path)) {
        *error = "cannot tell the format of '" + path + "': name it .png, .r16 or .raw";
        return false;
    }
    if (h.width <= 0 || h.depth <= 0) {
        *error = "no height field to write";
        return false;
    }
    const bool png = Extension(path) == "png";
    std::string why;
    errno = 0;
    const bool ok = WriteFileBeside(path.c_str(), "wb", [&](std::FILE* f) {
        return png ? WriteGrey16Png(h, f, &why) : WriteRaw16(h, f);
    });
    if (!ok && why.empty() && errno) why = std::strerror(errno);
    if (!ok) *error = "cannot write '" + path + "'" + (why.empty() ? "" : ": " + why);
    return ok;
}

bool ReadHeightPng(const std::string& path, HeightField* out, std::string* error) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) {
        *error = "cannot open '" + path + "'";
        return false;
    }
    std::string why;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &why, PngFailed, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    const bool ok = info && ReadGrey16Rows(png, info, f, out, &why);
    png_destroy_read_struct(png ? &png : nullptr, info ? &info : nullptr, nullptr);
    std::fclose(f);
    if (!ok) *error = why.empty() ? "cannot read '" + path + "'" : why;
    return ok;
}

bool ReadPngFile(const std::string& path, RgbImage* out, std::string* error, int maxSide) {
    png_image img;
    std::memset(&img, 0, sizeof img);
    img.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&img, path.c_str())) {
        *error = img.message;
        return false;
    }
    img.format = PNG_FORMAT_RGB;
    out->width = int(std::min<png_uint_32>(img.width, INT32_MAX));
    out->height = int(std::min<png_uint_32>(img.height, INT32_MAX));
    if (img.width > png_uint_32(maxSide) || img.height > png_uint_32(maxSide)) {
        *error = "the image is " + std::to_string(img.width) + " x " + std::to_string(img.height) +
                 " pixels, more than " + std::to_string(maxSide) + " on a side";
        png_image_free(&img);
        return false;
    }
    out->rgb.assign(PNG_IMAGE_SIZE(img), 0);
    if (!png_image_finish_read(&img, nullptr, out->rgb.data(), 0, nullptr)) {
        *error = img.message;
        png_image_free(&img);
        return false;
    }
    return true;
}

}  // namespace tsn
