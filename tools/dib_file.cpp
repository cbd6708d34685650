#include "dib_file.h"

#include <cstring>

#include "cli_io.h"

namespace {

constexpr size_t kFileHeaderBytes = 14;
constexpr size_t kInfoHeaderBytes = 40;
constexpr int64_t kMaxDimension = 65535;  // a JPEG frame cannot be larger

uint32_t le16(const uint8_t* p) { return p[0] | (p[1] << 8); }
uint32_t le32(const uint8_t* p) { return le16(p) | (le16(p + 2) << 16); }
void put16(std::vector<uint8_t>& out, uint32_t v) {
    out.push_back(static_cast<uint8_t>(v));
    out.push_back(static_cast<uint8_t>(v >> 8));
}
void put32(std::vector<uint8_t>& out, uint32_t v) {
    put16(out, v & 0xFFFF);
    put16(out, v >> 16);
}

// Stored row length: whole 32-bit words.
int64_t rowStep(int64_t width, int64_t bitCount) { return (width * bitCount + 31) / 32 * 4; }

bool fail(std::string& error, const std::string& text) {
    error = text;
    return false;
}

// Copies the colour table from where the file keeps it (behind a header of
// any size) to where the library reads it (40 bytes in), and notes whether it
// is grey.
void takePalette(const std::vector<uint8_t>& file, size_t headerSize, DibFile& dib) {
    const BITMAPINFOHEADER& h = *dib.header();
    if (h.biBitCount > 8) return;
    size_t entries = h.biClrUsed != 0 && h.biClrUsed <= 256 ? h.biClrUsed : size_t{1} << h.biBitCount;
    size_t from = kFileHeaderBytes + headerSize;
    size_t available = file.size() > from ? (file.size() - from) / 4 : 0;
    entries = entries < available ? entries : available;
    std::memcpy(dib.info.data() + kInfoHeaderBytes, file.data() + from, 4 * entries);
    dib.grey = true;
    for (size_t i = 0; i < entries; ++i) {
        const uint8_t* q = file.data() + from + 4 * i;
        dib.grey = dib.grey && q[0] == q[1] && q[1] == q[2];
    }
}

// Depths the library's bitmap entry reads. Returns "" or the reason the
// bitmap cannot be encoded.
std::string checkDepth(const BITMAPINFOHEADER& h) {
    const uint32_t depth = h.biBitCount;
    if (depth != 1 && depth != 4 && depth != 8 && depth != 16 && depth != 24 && depth != 32)
        return "unsupported BMP bit count " + std::to_string(depth);
    return "";
}

}  // namespace

bool readDibFile(const std::vector<uint8_t>& file, DibFile& dib, std::string& error) {
    error.clear();
    if (file.size() < 2 || file[0] != 'B' || file[1] != 'M') return false;
    if (file.size() < kFileHeaderBytes + kInfoHeaderBytes) return fail(error, "BMP file too short");
    uint32_t offset = le32(&file[10]);
    uint32_t headerSize = le32(&file[14]);
    int32_t height = static_cast<int32_t>(le32(&file[22]));
    uint32_t compression = le32(&file[30]);
    // Core headers, top-down rows, colour masks and compressed bitmaps are
    // read (or refused) elsewhere: the library's entry takes plain rows only.
    if (headerSize < kInfoHeaderBytes || height <= 0 || compression != 0) return false;
    std::memcpy(dib.info.data(), &file[kFileHeaderBytes], kInfoHeaderBytes);
    dib.header()->biSize = kInfoHeaderBytes;
    const BITMAPINFOHEADER& h = *dib.header();
    if (h.biWidth <= 0 || h.biWidth > kMaxDimension || height > kMaxDimension)
        return fail(error, "BMP size outside 1..65535");
    std::string depthProblem = checkDepth(h);
    if (!depthProblem.empty()) return fail(error, depthProblem);
    int64_t bytes = rowStep(h.biWidth, h.biBitCount) * height;
    if (h.biBitCount == 0 || offset > file.size() || bytes > static_cast<int64_t>(file.size() - offset))
        return fail(error, "BMP pixel data truncated");
    takePalette(file, headerSize, dib);
    dib.bits.assign(file.begin() + offset, file.begin() + offset + bytes);
    return true;
}

bool encodeDibStrips(JpegHandle handle, const DibFile& dib, uint32_t mcuHeight) {
    const BITMAPINFOHEADER& h = *dib.header();
    const uint32_t height = static_cast<uint32_t>(h.biHeight);
    const int64_t step = rowStep(h.biWidth, h.biBitCount);
    const uint32_t stripLines = 4 * mcuHeight;
    for (uint32_t top = 0; top < height; top += stripLines) {
        uint32_t lines = height - top < stripLines ? height - top : stripLines;
        // The strip's rows, bottom-up like the whole bitmap: its first stored
        // row is the strip's bottom row.
        const uint8_t* bits = dib.bits.data() + (height - top - lines) * step;
        if (jpegEncodeFromWinDIBits(handle, lines, bits, dib.header()) != lines) return false;
    }
    return true;
}

std::string decodeToDibFile(JpegHandle handle, int32_t scale, int depth, uint32_t height, const std::string& path) {
    DibFile dib;
    BITMAPINFOHEADER* h = dib.header();
    h->biBitCount = static_cast<uint16_t>(depth);
    (void)jpegDecodeScaleOutputToWinDIBits(handle, 0, nullptr, h, scale);
    if (h->biSize != kInfoHeaderBytes) return "bitmap output needs a one- or three-component image";
    FrameHeader frame{};
    (void)jpegGetFrameHeader(handle, &frame);
    // A grey image's samples are grey levels: give them a grey ramp rather
    // than the colour palette the library prepares for 8 bits.
    if (depth == 8 && frame.componentCount == 1) {
        for (int i = 0; i < 256; ++i) std::memset(dib.info.data() + kInfoHeaderBytes + 4 * i, i, 3);
    }
    if (h->biHeight == 0) h->biHeight = static_cast<int32_t>(height);
    const int64_t step = rowStep(h->biWidth, depth);
    const uint32_t rows = static_cast<uint32_t>(h->biHeight);
    dib.bits.assign(static_cast<size_t>(step * rows), 0);
    if (rows == 0 || jpegDecodeScaleOutputToWinDIBits(handle, rows, dib.bits.data(), h, scale) != static_cast<int32_t>(rows))
        return depth == 8 && frame.componentCount == 3 && scale < 3
                   ? "colour into 8-bit bitmaps is decoded at full size only"
                   : "decoding failed";

    size_t paletteBytes = depth == 8 ? 256 * 4 : 0;
    uint32_t offset = static_cast<uint32_t>(kFileHeaderBytes + kInfoHeaderBytes + paletteBytes);
    h->biSizeImage = static_cast<uint32_t>(dib.bits.size());
    std::vector<uint8_t> out = {'B', 'M'};
    put32(out, offset + h->biSizeImage);
    put32(out, 0);
    put32(out, offset);
    out.insert(out.end(), dib.info.begin(), dib.info.begin() + kInfoHeaderBytes + paletteBytes);
    out.insert(out.end(), dib.bits.begin(), dib.bits.end());
    std::string error;
    return writeAllBytes(path, out, error) ? "" : error;
}
