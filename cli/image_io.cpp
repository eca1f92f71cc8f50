#include "cli/image_io.h"

#include <png.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/image.h"

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

bool WritePng(const ImageView& v, std::FILE* f, std::string* error) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        *error = "out of memory";
        return false;
    }
    std::vector<unsigned char> row(std::size_t(v.width) * 3);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        *error = "the PNG encoder failed";
        return false;
    }
    png_init_io(png, f);
    png_set_IHDR(png, info, png_uint_32(v.width), png_uint_32(v.depth), 8, PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int y = 0; y < v.depth; ++y) {
        const unsigned char* s = v.Row(y);
        for (int x = 0; x < v.width; ++x) {
            row[3 * x] = s[3 * x + 2];
            row[3 * x + 1] = s[3 * x + 1];
            row[3 * x + 2] = s[3 * x];
        }
        png_write_row(png, row.data());
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

}  // namespace

bool IsImageExtension(const std::string& path) {
    const std::string ext = Extension(path);
    return ext == "bmp" || ext == "png";
}

bool WriteImageFile(MemHandle image, const std::string& path, std::string* error) {
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
    const std::string temp = path + ".partial-" + std::to_string(getpid());
    std::FILE* f = std::fopen(temp.c_str(), "wb");
    if (!f) {
        UnlockImage(&v);
        *error = "cannot write '" + path + "': " + std::strerror(errno);
        return false;
    }
    std::string why;
    bool ok = ext == "bmp" ? WriteBmp(v, f) : WritePng(v, f, &why);
    UnlockImage(&v);
    if (std::fclose(f) != 0) ok = false;
    if (ok && !MoveFileOver(temp.c_str(), path.c_str())) {
        why = std::strerror(errno);
        ok = false;
    }
    if (!ok) {
        DeleteFileAt(temp.c_str());
        *error = "cannot write '" + path + "'" + (why.empty() ? "" : ": " + why);
        return false;
    }
    return true;
}

bool ReadPngFile(const std::string& path, RgbImage* out, std::string* error) {
    png_image img;
    std::memset(&img, 0, sizeof img);
    img.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&img, path.c_str())) {
        *error = img.message;
        return false;
    }
    img.format = PNG_FORMAT_RGB;
    out->width = int(img.width);
    out->height = int(img.height);
    out->rgb.assign(PNG_IMAGE_SIZE(img), 0);
    if (!png_image_finish_read(&img, nullptr, out->rgb.data(), 0, nullptr)) {
        *error = img.message;
        png_image_free(&img);
        return false;
    }
    return true;
}

}  // namespace tsn
