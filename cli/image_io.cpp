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

// The picture's row y, in the file's order of channels.
void RowToRgb(const ImageView& v, int y, unsigned char* out) {
    RgbOfBgrRow(v.Row(y), std::size_t(v.width) * 3, out);
}

// Filters and deflates rows y0 .. y1 - 1 of `v` as raw deflate data; the
// row above y0 is `v`'s own, or for y0 = 0 `aboveFirst` (in the file's
// order of channels; null above the picture's top row). A band that is not
// the last ends with a full flush, so it ends on a byte boundary with no
// reference into the next band and the bands join into one stream.
void PackBand(const ImageView& v, int level, bool last, const unsigned char* aboveFirst,
              PngBand* band) {
    const std::size_t n = std::size_t(v.width) * 3;
    std::vector<unsigned char> rgb(n), above(n);
    const std::size_t rawSize = (n + 1) * std::size_t(band->y1 - band->y0);
    band->ok = false;
    if (band->rawCapacity < rawSize) {
        band->raw = std::make_unique_for_overwrite<unsigned char[]>(rawSize);
        band->rawCapacity = rawSize;
    }
    if (band->y0 > 0) {
        RowToRgb(v, band->y0 - 1, above.data());
    } else if (aboveFirst) {
        std::copy(aboveFirst, aboveFirst + n, above.begin());
    }
    unsigned char* out = band->raw.get();
    for (int y = band->y0; y < band->y1; ++y, out += n + 1) {
        RowToRgb(v, y, rgb.data());
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
        // Zeroed first: the initialiser leaves the window size (hist_bits)
        // as it finds it, and the bytes written would follow what the stack
        // held before.
        isal_zstream z{};
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

// Rows deflated as one piece: about 1 MiB of filtered rows. Pieces start
// at multiples of this in the picture however its rows arrive, so a file
// is the same byte for byte whether written whole or band by band.
int PieceRows(int width) {
    const std::size_t rowBytes = std::size_t(width) * 3 + 1;
    return int(std::max<std::size_t>(1, (std::size_t(1) << 20) / rowBytes));
}

// A PNG file written as its rows arrive, a band at a time, top first.
// libpng writes the signature, the header chunk and the chunk framing; the
// image data is deflated here in bands of about 1 MiB on every core, a few
// at a time so the memory held stays small, and written in order as IDAT
// chunks.
class PngWriter final : public RowSink {
  public:
    PngWriter(std::FILE* f, int level) : file_(f), level_(std::clamp(level, 0, 9)) {}
    ~PngWriter() override { png_destroy_write_struct(&png_, &info_); }
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;

    bool Take(const ImageView& band, int first, int depth) override;
    // A band is four rounds of pieces on every core (16 MiB of pixels on
    // two): between painting and encoding the cores wait for the slowest,
    // and one round a band left a 4096^2 picture 15 % slower than written
    // whole.
    int RowsPerBand(int width) const override {
        return PieceRows(width) * 8 * std::max(1, WorkerThreads());
    }
    // After the last row: the end chunk. False when rows are missing or
    // anything failed.
    bool Finish();
    // Every row of the picture has been taken.
    bool AllRows() const { return depth_ > 0 && done_ == depth_; }
    bool Failed() const { return failed_; }
    const std::string& Error() const { return error_; }

  private:
    bool Start(int width, int depth);
    bool Chunk(const char* type, const unsigned char* data, std::size_t size);
    bool Fail(const std::string& why) {
        failed_ = true;
        error_ = why;
        return false;
    }

    std::FILE* file_;
    int level_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    int width_ = 0, depth_ = 0, done_ = 0;
    std::vector<unsigned char> lastRow_;  // the row above the next band
    uLong adler_ = 0;
    std::vector<PngBand> group_;
    bool failed_ = false;
    std::string error_;
};

// A libpng error (a short write) returns here through longjmp while this
// frame is live; nothing set after setjmp is read afterwards.
bool PngWriter::Chunk(const char* type, const unsigned char* data, std::size_t size) {
    if (setjmp(png_jmpbuf(png_))) return Fail("the PNG encoder failed");
    png_write_chunk(png_, reinterpret_cast<png_const_bytep>(type), data, size);
    return true;
}

bool PngWriter::Start(int width, int depth) {
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
    if (!info_) return Fail("out of memory");
    width_ = width;
    depth_ = depth;
    lastRow_.assign(std::size_t(width) * 3, 0);
    group_.resize(std::size_t(std::max(1, WorkerThreads())) * 2);
    adler_ = adler32(0, nullptr, 0);
    if (setjmp(png_jmpbuf(png_))) return Fail("the PNG encoder failed");
    png_init_io(png_, file_);
    png_set_IHDR(png_, info_, png_uint_32(width), png_uint_32(depth), 8, PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png_, info_);
    // The zlib header: deflate with a 32 KiB window, the level's hint, and
    // the check bits that make the pair a multiple of 31.
    const int hint = level_ < 2 ? 0 : level_ < 6 ? 1 : level_ == 6 ? 2 : 3;
    unsigned char head[2] = {0x78, static_cast<unsigned char>(hint << 6)};
    head[1] = static_cast<unsigned char>(head[1] + 31 - (0x78 * 256 + head[1]) % 31);
    return Chunk("IDAT", head, 2);
}

bool PngWriter::Take(const ImageView& band, int first, int depth) {
    if (failed_) return false;
    if (first == 0 && !png_ && !Start(band.width, depth)) return false;
    if (!png_ || first != done_ || band.width != width_ || depth != depth_ ||
        band.depth > depth_ - done_)
        return Fail("the picture's rows came out of order");
    if (band.depth <= 0) return true;
    const std::size_t rowBytes = std::size_t(width_) * 3 + 1;
    const int pieceRows = PieceRows(width_);
    // Pieces end at the picture's multiples of pieceRows, or where the band
    // does.
    for (int y = 0; y < band.depth;) {
        std::size_t count = 0;
        for (; count < group_.size() && y < band.depth; ++count) {
            group_[count].y0 = y;
            y = std::min(band.depth, ((first + y) / pieceRows + 1) * pieceRows - first);
            group_[count].y1 = y;
        }
        std::atomic<std::size_t> next{0};
        auto work = [&] {
            for (std::size_t i; (i = next.fetch_add(1)) < count;) {
                PngBand& b = group_[i];
                PackBand(band, level_, first + b.y1 == depth_,
                         first > 0 ? lastRow_.data() : nullptr, &b);
            }
        };
        std::vector<std::thread> helpers;
        for (int t = 1; std::size_t(t) < group_.size() / 2 && std::size_t(t) < count; ++t) {
            try {
                helpers.emplace_back(work);
            } catch (...) {
                break;  // fewer threads only cost speed
            }
        }
        work();
        for (auto& t : helpers) t.join();
        for (std::size_t i = 0; i < count; ++i) {
            PngBand& b = group_[i];
            if (!b.ok) return Fail("the PNG encoder failed");
            adler_ = adler32_combine(adler_, b.adler, z_off_t(rowBytes) * (b.y1 - b.y0));
            if (first + b.y1 == depth_) {
                for (int shift = 24; shift >= 0; shift -= 8)
                    b.packed[b.packedSize++] = static_cast<unsigned char>(adler_ >> shift);
            }
            if (!Chunk("IDAT", b.packed.get(), b.packedSize)) return false;
        }
    }
    RowToRgb(band, band.depth - 1, lastRow_.data());
    done_ += band.depth;
    return true;
}

bool PngWriter::Finish() {
    if (failed_) return false;
    if (!AllRows()) return Fail("the picture ended early");
    return Chunk("IEND", nullptr, 0);
}

bool WritePng(const ImageView& v, std::FILE* f, int level, std::string* error) {
    PngWriter png(f, level);
    const bool ok = png.Take(v, 0, v.depth) && png.Finish();
    if (!ok) *error = png.Error();
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

namespace {

// Renders with `draw` into an open PNG file: rows the kind hands on go
// straight to the encoder; an image it makes whole is written after.
PictureOutcome DrawPng(const PictureDrawer& draw, std::FILE* f, int level, MemHandle* image,
                       std::string* why) {
    PngWriter png(f, level);
    *image = draw(&png);
    bool ok;
    if (*image) {
        ImageView v;
        if (!LockImage(*image, &v)) {
            *why = "no image to write";
            return PictureOutcome::WriteFailed;
        }
        ok = png.Take(v, 0, v.depth) && png.Finish();
        UnlockImage(&v);
    } else {
        if (!png.Failed() && !png.AllRows()) return PictureOutcome::RenderFailed;
        ok = png.Finish();
    }
    if (!ok) *why = png.Error();
    return ok ? PictureOutcome::Written : PictureOutcome::WriteFailed;
}

}  // namespace

PictureOutcome RenderImageFile(const PictureDrawer& draw, const std::string& path,
                               std::string* error, MemHandle* image, int pngLevel,
                               const std::string& format) {
    *image = 0;
    const bool toStandardOutput = path == "-";
    const std::string ext = toStandardOutput ? (format.empty() ? "png" : format) : Extension(path);
    if (ext != "png") {
        // BMP keeps its rows bottom first: the picture is made whole.
        *image = draw(nullptr);
        if (!*image) return PictureOutcome::RenderFailed;
        return WriteImageFile(*image, path, error, pngLevel, format) ? PictureOutcome::Written
                                                                     : PictureOutcome::WriteFailed;
    }
    // Until the file is open, nothing is drawn: a file that cannot be
    // written is said so at once.
    PictureOutcome outcome = PictureOutcome::WriteFailed;
    std::string why;
    const auto start = std::chrono::steady_clock::now();
    errno = 0;
    if (toStandardOutput) {
        outcome = DrawPng(draw, stdout, pngLevel, image, &why);
        if (outcome == PictureOutcome::Written && (std::fflush(stdout) != 0 || std::ferror(stdout)))
            outcome = PictureOutcome::WriteFailed;
    } else {
        const bool ok = WriteFileBeside(path.c_str(), "wb", [&](std::FILE* f) {
            outcome = DrawPng(draw, f, pngLevel, image, &why);
            return outcome == PictureOutcome::Written;
        });
        if (!ok && outcome == PictureOutcome::Written) outcome = PictureOutcome::WriteFailed;
    }
    if (outcome == PictureOutcome::WriteFailed) {
        if (why.empty() && errno) why = std::strerror(errno);
        *error = (toStandardOutput ? std::string("cannot write to standard output")
                                   : "cannot write '" + path + "'") +
                 (why.empty() ? "" : ": " + why);
    }
    if (outcome == PictureOutcome::Written && TimingsRequested()) {
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        std::fprintf(stderr, "render and write %s: %.3f s\n", path.c_str(), took.count());
    }
    return outcome;
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
