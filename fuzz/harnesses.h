// The fuzz harnesses, one function per entry family. The libFuzzer targets
// call them, and the regression test replays stored inputs through the very
// same code. Every buffer handed to the library is sized exactly as the call's
// contract describes, so that under the sanitizers any access outside it is a
// finding.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "KelJPEG.h"
#include "bitmap/rect_to_dib.h"
#include "context/jpeg_context.h"
#include "decoder/kernels.h"
#include "decoder/mcu_decode.h"
#include "fuzz/fuzz_input.h"
#include "runtime/bitstream_file.h"

namespace fuzz_harness {

inline void KELJPEG_CALL quietReports(void*, const KelChar16*, int32_t, const KelChar16*, const KelChar16*,
                                      uint32_t) {}

// Quiet reports and tight limits for the duration of one input, so that a
// hostile header cannot make one run slow or large; the defaults come back
// afterwards (the regression test shares its process with other tests).
class HarnessScope {
public:
    HarnessScope() {
        jpegSetReportHandler(quietReports, nullptr);
        JpegLimits limits{};
        limits.maxScans = 200;
        limits.maxPixels = kFuzzMaxPixels;
        limits.maxMemoryBytes = uint64_t{256} << 20;
        jpegSetLimits(&limits);
    }
    ~HarnessScope() {
        jpegSetLimits(nullptr);
        jpegSetReportHandler(nullptr, nullptr);
    }
    HarnessScope(const HarnessScope&) = delete;
    HarnessScope& operator=(const HarnessScope&) = delete;
};

inline JpegHandle openMemoryDecode(JpegDecodeParams* params, const uint8_t* data, size_t size, uint16_t options) {
    *params = JpegDecodeParams{};
    params->options = static_cast<uint16_t>(JPEG_OPT_MEMORY | options);
    params->data = data;
    params->dataLength = static_cast<uint32_t>(size);
    return jpegDecodeProlog(nullptr, params);
}

// A rectangle over its own exactly sized store: rows x stride bytes.
struct OwnedRect {
    std::vector<uint8_t> store;
    ImageRect rect{};
    OwnedRect(int32_t width, int32_t rows, int32_t bytesPerPixel, int32_t slack) {
        rect.width = width;
        rect.height = rows;
        rect.bitsPerPixel = 8 * bytesPerPixel;
        rect.stride = width * bytesPerPixel + slack;
        store.resize(static_cast<size_t>(rect.stride) * static_cast<size_t>(std::max(rows, 0)));
        rect.bits = store.empty() ? nullptr : store.data();
    }
};

// The room a legacy decode call needs (the header's rule): the rows asked
// for (low 16 bits), rounded up to a whole MCU row of the output once they
// reach one. The MCU row is 8 x the largest vertical sampling factor, halved
// per reduced scale for sequential frames; progressive frames always come at
// full size.
inline uint32_t outputMcuHeight(const FrameHeader& header, int32_t scale) {
    uint32_t maxV = 1;
    for (int c = 0; c < header.componentCount && c < 4; ++c)
        maxV = std::max<uint32_t>(maxV, header.components[c].verticalSampling);
    const uint32_t full = 8 * maxV;
    const bool reduced = scale >= 0 && scale < 3 && header.sofMarker != 0xFFC2;
    return reduced ? std::max<uint32_t>(full >> (3 - scale), 1) : full;
}

inline uint32_t legacyRoomRows(uint32_t rows, uint32_t mcuHeight) {
    rows &= 0xFFFF;
    return rows < mcuHeight ? rows : (rows + mcuHeight - 1) / mcuHeight * mcuHeight;
}

// Sequential, progressive and lossless frames at every scale, optionally as
// raw components, in strips. In legacy mode the rows argument is the row up
// to which to decode and each call gets a rectangle of exactly the room the
// header promises for it; standard mode counts rows per call, at most the
// rectangle's stated height.
inline void decodeStrips(const uint8_t* bytes, size_t size) {
    HarnessScope scope;
    FuzzInput in(bytes, size);
    const uint8_t mode = in.takeByte();
    const uint8_t strip = in.takeByte();
    const uint8_t flags = in.takeByte();
    const int32_t scale = mode & 3;
    const bool raw = (mode & 4) != 0;
    const bool partialCheck = (mode & 8) != 0;
    const int32_t slack = (mode >> 4) & 3;
    JpegDecodeParams params;
    JpegHandle handle = openMemoryDecode(&params, in.data(), in.size(),
                                         static_cast<uint16_t>((raw ? JPEG_OPT_RAW_COMPONENTS : 0) |
                                                               (partialCheck ? JPEG_OPT_PARTIAL_BITSTREAM : 0) |
                                                               ((flags & 1) ? JPEG_OPT_STANDARD : 0) |
                                                               ((flags & 2) ? JPEG_OPT_STRICT : 0)));
    if (!handle) return;
    FrameHeader header;
    (void)jpegGetFrameHeader(handle, &header);
    uint32_t width = 0, height = 0;
    (void)jpegDecodeGetImageSize(handle, &width, &height, raw ? JPEG_SCALE_FULL : scale);
    if (height == 0) height = 64;  // height still to come from a DNL segment
    if (width > 0 && uint64_t{width} * height <= kFuzzMaxPixels) {
        int32_t bytesPerPixel = raw ? params.componentCount : (params.componentCount >= 3 ? 3 : 1);
        if (raw && (mode & 0x40)) bytesPerPixel = 1 + (mode >> 7) * 2;  // sometimes not what raw output needs
        bytesPerPixel = std::max(bytesPerPixel, 1);
        const uint32_t step = strip ? strip : height;
        const bool perCall = (flags & 1) != 0;
        const uint32_t mcuHeight = outputMcuHeight(header, raw ? JPEG_SCALE_FULL : scale);
        for (uint32_t target = step; target < height + step; target += step) {
            const uint32_t upTo = perCall ? step : std::min(target, height);
            const uint32_t room = perCall ? upTo : legacyRoomRows(upTo, mcuHeight);
            OwnedRect out(static_cast<int32_t>(width), static_cast<int32_t>(room), bytesPerPixel, slack);
            const int32_t got = raw || scale == JPEG_SCALE_FULL
                                    ? jpegDecodeToRect(handle, &out.rect, upTo)
                                    : jpegDecodeScaleOutputToRect(handle, &out.rect, upTo, scale);
            if (got <= 0) break;
        }
    }
    (void)jpegDecodeQueryDamage(handle);
    (void)jpegDecodeEpilog(handle);
}

// Progressive frames one scan per pass (or all scans at once) until the
// decoder says the image is complete; full or scaled output.
inline void decodeProgressivePasses(const uint8_t* bytes, size_t size) {
    HarnessScope scope;
    FuzzInput in(bytes, size);
    const uint8_t mode = in.takeByte();
    JpegDecodeParams params;
    JpegHandle handle = openMemoryDecode(&params, in.data(), in.size(),
                                         static_cast<uint16_t>(((mode & 0x10) ? JPEG_OPT_STANDARD : 0) |
                                                               ((mode & 0x20) ? JPEG_OPT_STRICT : 0)));
    if (!handle) return;
    uint32_t width = 0, height = 0;
    (void)jpegDecodeGetImageSize(handle, &width, &height, JPEG_SCALE_FULL);
    FrameHeader header{};
    (void)jpegGetFrameHeader(handle, &header);
    if (width && height && uint64_t{width} * height <= kFuzzMaxPixels) {
        OwnedRect out(static_cast<int32_t>(width),
                      static_cast<int32_t>(legacyRoomRows(height, outputMcuHeight(header, JPEG_SCALE_FULL))),
                      params.componentCount >= 3 ? 3 : 1, 0);
        (void)jpegDecodeSetProgressiveMode(handle, mode & 1);
        const bool scaled = (mode & 2) != 0;
        for (int pass = 0; pass < 64 && !jpegDecodeQueryProgressiveComplete(handle); ++pass) {
            const int32_t got = scaled ? jpegDecodeScaleOutputToRect(handle, &out.rect, height, (mode >> 2) & 3)
                                       : jpegDecodeToRect(handle, &out.rect, height);
            if (got <= 0) break;
        }
    }
    (void)jpegDecodeEpilog(handle);
}

// Entropy-coded data in pieces: the headers as one block, then pieces whose
// size comes from the input, each followed by a decode up to 16 more rows.
inline void decodePieces(const uint8_t* bytes, size_t size) {
    HarnessScope scope;
    FuzzInput in(bytes, size);
    const uint16_t headerLength = in.takeU16();
    const uint8_t piece = in.takeByte();
    const size_t total = in.size();
    const size_t head = std::min<size_t>(headerLength, total);
    JpegDecodeParams params;
    JpegHandle handle = openMemoryDecode(&params, in.data(), head, JPEG_OPT_PARTIAL_BITSTREAM);
    if (!handle) return;
    uint32_t width = 0, height = 0;
    (void)jpegDecodeGetImageSize(handle, &width, &height, JPEG_SCALE_FULL);
    FrameHeader header{};
    (void)jpegGetFrameHeader(handle, &header);
    if (width && height && uint64_t{width} * height <= kFuzzMaxPixels) {
        const uint32_t mcuHeight = outputMcuHeight(header, JPEG_SCALE_FULL);
        const size_t step = piece ? piece : 64;
        uint32_t delivered = 0;
        for (size_t at = head; at < total && delivered < height; at += step) {
            // Each piece in a block of its own, so that reading past it is seen.
            std::vector<uint8_t> chunk(in.data() + at, in.data() + std::min(total, at + step));
            if (jpegDecodeSetPartialBitstream(handle, chunk.data(), static_cast<uint32_t>(chunk.size())) != 0) break;
            const uint32_t upTo = std::min<uint32_t>(delivered + 16, height);
            OwnedRect out(static_cast<int32_t>(width), static_cast<int32_t>(legacyRoomRows(upTo, mcuHeight)),
                          params.componentCount >= 3 ? 3 : 1, 0);
            const int32_t got = jpegDecodeToRect(handle, &out.rect, upTo);
            if (got <= 0) break;
            delivered += static_cast<uint32_t>(got);
        }
    }
    (void)jpegDecodeEpilog(handle);
}

// Lossless frames: any frame marker can be turned into the lossless one, so
// that every header the fuzzer invents reaches the lossless decoder. Lossless
// calls count rows per call (at least one), written from the top of the
// rectangle, which holds that many rows of the frame's samples; a frame
// left sequential gets the legacy room rule.
inline void decodeLossless(const uint8_t* bytes, size_t size) {
    HarnessScope scope;
    FuzzInput in(bytes, size);
    const uint8_t mode = in.takeByte();
    const uint8_t strip = in.takeByte();
    std::vector<uint8_t> stream(in.data(), in.data() + in.size());
    if (mode & 1) {
        for (size_t i = 0; i + 1 < stream.size(); ++i) {
            if (stream[i] == 0xFF && stream[i + 1] >= 0xC0 && stream[i + 1] <= 0xC2) {
                stream[i + 1] = 0xC3;
                break;
            }
        }
    }
    JpegDecodeParams params;
    JpegHandle handle =
        openMemoryDecode(&params, stream.data(), stream.size(), (mode & 8) ? JPEG_OPT_STANDARD : 0);
    if (!handle) return;
    FrameHeader header{};
    (void)jpegGetFrameHeader(handle, &header);
    const uint32_t width = params.width, height = params.height ? params.height : 16;
    if (width && uint64_t{width} * height <= kFuzzMaxPixels && params.componentCount >= 1) {
        const int32_t sampleBytes = header.precision > 8 ? 2 : 1;
        const uint32_t rowsPerCall = strip ? strip : height;
        // A frame that stayed sequential, read the legacy way, gets the room
        // the header promises: whole MCU rows (a DNL frame's bands are never
        // cut, so 17 rows asked for write 24).
        const bool legacyBands = !(mode & 8) && header.sofMarker != 0xFFC3;
        const uint32_t room = legacyBands ? legacyRoomRows(rowsPerCall, outputMcuHeight(header, 3)) : rowsPerCall;
        OwnedRect out(static_cast<int32_t>(width), static_cast<int32_t>(room), params.componentCount * sampleBytes,
                      (mode >> 1) & 3);
        for (uint32_t done = 0; done < height;) {
            const int32_t got = jpegDecodeToRect(handle, &out.rect, rowsPerCall);
            if (got <= 0) break;
            done += static_cast<uint32_t>(got);
        }
    }
    (void)jpegDecodeEpilog(handle);
}

inline int64_t bitmapRowStep(int32_t bitCount, int32_t width) { return complibDIBRowStep(bitCount, width); }

inline std::vector<uint8_t> describedBitmap(int32_t bitCount, int32_t width, int32_t height) {
    const int64_t rows = height < 0 ? -int64_t{height} : height;
    const int64_t bytes = bitmapRowStep(bitCount, width) * rows;
    return std::vector<uint8_t>(bytes > 0 && bytes < (int64_t{64} << 20) ? static_cast<size_t>(bytes) : 0);
}

const int32_t kBitDepths[8] = {0, 1, 4, 8, 16, 24, 32, 48};

// A header of 40 bytes and room for a 256-entry colour table behind it.
struct HeaderWithPalette {
    BITMAPINFOHEADER header;
    RGBQUAD palette[256];
};

// The bitmap decode entry with hostile headers: a header query, then strips
// into a bitmap sized exactly as its header describes it.
inline void decodeToBitmap(const uint8_t* bytes, size_t size) {
    HarnessScope scope;
    FuzzInput in(bytes, size);
    const uint8_t mode = in.takeByte();
    const int32_t scale = (mode & 3) + ((mode & 0x80) ? 1 : 0);  // 4 is out of range
    const int32_t depth = kBitDepths[(mode >> 2) & 7];
    const int8_t widthDelta = static_cast<int8_t>(in.takeByte());
    const int8_t heightDelta = static_cast<int8_t>(in.takeByte());
    const uint8_t lines = in.takeByte();
    const bool flip = (mode & 0x20) != 0;
    JpegDecodeParams params;
    JpegHandle handle = openMemoryDecode(&params, in.data(), in.size(), (mode & 0x40) ? JPEG_OPT_STANDARD : 0);
    if (!handle) return;
    HeaderWithPalette query{};
    query.header.biBitCount = static_cast<uint16_t>(depth);
    (void)jpegDecodeScaleOutputToWinDIBits(handle, 0, nullptr, &query.header, scale);
    uint32_t width = 0, height = 0;
    (void)jpegDecodeGetImageSize(handle, &width, &height, scale & 3);
    if (uint64_t{width} * (height + 16) <= kFuzzMaxPixels) {
        HeaderWithPalette target = query;
        target.header.biBitCount = static_cast<uint16_t>(depth);
        target.header.biWidth = static_cast<int32_t>(width) + widthDelta / 16;
        target.header.biHeight = (static_cast<int32_t>(height) + heightDelta / 16) * (flip ? -1 : 1);
        std::vector<uint8_t> bitmap =
            describedBitmap(depth, target.header.biWidth, target.header.biHeight);
        const uint32_t step = lines ? lines : 16;
        for (uint32_t done = 0; done < height + 16; done += step) {
            if (jpegDecodeScaleOutputToWinDIBits(handle, step, bitmap.empty() ? nullptr : bitmap.data(),
                                                 &target.header, scale) <= 0)
                break;
        }
    }
    (void)jpegDecodeEpilog(handle);
}

// Encoding: opens an encode with parameters from the input. false when the
// prolog refused them.
inline JpegHandle openMemoryEncode(FuzzInput& in, JpegEncodeParams* params, JfifInfo* jfif) {
    *params = JpegEncodeParams{};
    params->width = static_cast<uint16_t>(in.takeByte() + 1);
    params->height = in.takeByte();  // 0 asks for a DNL segment
    params->componentCount = static_cast<uint16_t>(in.takeByte() % 5);
    params->samplingFactors = in.takeU32();
    params->quality = in.takeByte();
    params->restartInterval = in.takeByte() % 8;
    params->options = static_cast<uint16_t>((in.takeU16() & ~JPEG_OPT_DECODE) | JPEG_OPT_MEMORY);
    jfif->xDensity = 72;
    jfif->yDensity = 72;
    jfif->units = 1;
    jfif->thumbnailWidth = static_cast<uint8_t>(in.takeByte() % 5);
    jfif->thumbnailHeight = static_cast<uint8_t>(in.takeByte() % 5);
    params->jfif = jfif;
    return jpegEncodeProlog(nullptr, params);
}

struct JfifWithThumbnail {
    JfifInfo info;
    uint8_t thumbnail[3 * 4 * 4];
};

// Bytes for pixels: the input's payload repeated.
inline void fillFrom(const FuzzInput& in, std::vector<uint8_t>& pixels) {
    for (size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = in.size() ? in.data()[i % in.size()] : static_cast<uint8_t>(i * 37);
}

inline void finishEncode(JpegHandle handle, JpegEncodeParams* params) {
    (void)jpegEncodeEpilog(handle);
    if (params->outputBuffer) (void)jpegFreeMemory(params->outputBuffer);
}

// Rectangles of random stride and strips. jpegEncodeFromRect reads exactly
// the strip's `lines` rows (the last MCU row of a strip may be partial), so
// each strip lives in a block of exactly that many rows.
inline void encodeRects(const uint8_t* bytes, size_t size) {
    HarnessScope scope;
    FuzzInput in(bytes, size);
    JpegEncodeParams params;
    JfifWithThumbnail jfif{};
    JpegHandle handle = openMemoryEncode(in, &params, &jfif.info);
    const uint8_t strip = in.takeByte();
    const int32_t slack = in.takeByte() % 9;
    if (!handle) return;
    const int32_t components = std::max<int32_t>(1, params.componentCount);
    const int32_t rows = params.height ? params.height : 32;
    const uint32_t step = strip ? (strip % 4 + 1) * 16u : static_cast<uint32_t>(rows);
    for (int32_t done = 0; done < rows; done += static_cast<int32_t>(step)) {
        const uint32_t lines = std::min<uint32_t>(step, static_cast<uint32_t>(rows - done));
        OwnedRect part(params.width, static_cast<int32_t>(lines), components, slack);
        fillFrom(in, part.store);
        if (jpegEncodeFromRect(handle, &part.rect, lines) == 0) break;
    }
    finishEncode(handle, &params);
}

// Bitmap strips of every depth (rows as wide as the encoded image, as many as
// `lines`) and TWAIN transfers (rows of 3 x width bytes padded to even).
inline void encodeBitmaps(const uint8_t* bytes, size_t size) {
    HarnessScope scope;
    FuzzInput in(bytes, size);
    JpegEncodeParams params;
    JfifWithThumbnail jfif{};
    JpegHandle handle = openMemoryEncode(in, &params, &jfif.info);
    const uint8_t mode = in.takeByte();
    const uint8_t strip = in.takeByte();
    const uint8_t twainWidth = in.takeByte();
    HeaderWithPalette header{};
    header.header.biSize = 40;
    header.header.biBitCount = static_cast<uint16_t>(kBitDepths[mode & 7]);
    header.header.biWidth = static_cast<int8_t>(in.takeByte());
    header.header.biHeight = static_cast<int8_t>(in.takeByte());
    header.header.biPlanes = 1;
    header.header.biClrUsed = in.takeByte() * 2u;
    header.header.biCompression = (mode & 0x40) ? 3 : 0;
    for (RGBQUAD& entry : header.palette) {
        entry.rgbBlue = in.takeByte();
        entry.rgbGreen = in.takeByte();
        entry.rgbRed = in.takeByte();
    }
    if (!handle) return;
    const bool twain = (mode & 8) != 0;
    const int32_t rows = params.height ? params.height : 32;
    const uint32_t step = strip ? (strip % 4 + 1) * 16u : static_cast<uint32_t>(rows);
    for (int32_t done = 0; done < rows; done += static_cast<int32_t>(step)) {
        const uint32_t lines = std::min<uint32_t>(step, static_cast<uint32_t>(rows - done));
        uint32_t result;
        if (twain) {
            const uint32_t width = (mode & 0x10) ? twainWidth : params.width;
            std::vector<uint8_t> rowsIn(static_cast<size_t>((3 * width + 1) & ~1u) * lines);
            fillFrom(in, rowsIn);
            result = jpegEncodeFromWinTWAIN(handle, rowsIn.empty() ? nullptr : rowsIn.data(), width, lines);
        } else {
            std::vector<uint8_t> bitmap =
                describedBitmap(header.header.biBitCount, params.width, static_cast<int32_t>(lines));
            fillFrom(in, bitmap);
            result = jpegEncodeFromWinDIBits(handle, lines, bitmap.empty() ? nullptr : bitmap.data(), &header.header);
        }
        if (result == 0) break;
    }
    finishEncode(handle, &params);
}

// ---- The quick and the plain Huffman readers side by side ----

// Where a reader stands: the source's counters, then the bits it holds
// followed by the bytes left in its read buffer (stuffed zeros dropped), as
// their count and the first 128 of them. Two readers at the same point of the
// data give the same state however many bytes each has taken ahead, unless
// one met a marker or the buffer's end differently.
inline std::string readerState(const BitstreamFile& bf) {
    const uint32_t end = std::min(bf.bufferedCount, kBitstreamBufferSize);
    std::string bits;
    for (uint32_t i = 0; i < bf.bitCount && i < 32; ++i) bits += (bf.bitBuffer >> (31 - i)) & 1 ? '1' : '0';
    uint64_t count = bits.size();
    for (uint32_t i = bf.readIndex; i < end; ++i, count += 8) {
        const uint8_t b = bf.readBuffer[i];
        for (int j = 7; j >= 0 && bits.size() < 128; --j) bits += (b >> j) & 1 ? '1' : '0';
        if (b == 0xFF && i + 1 < end && bf.readBuffer[i + 1] == 0) ++i;
    }
    return std::to_string(bf.status) + "/" + std::to_string(bf.bufferedCount) + "/" + std::to_string(bf.bytePosition) +
           "/" + std::to_string(bf.memPosition) + "/" + std::to_string(count) + ":" + bits;
}

// Keeps each report's text in the vector the handler was installed with.
inline void KELJPEG_CALL keepReportText(void* texts, const KelChar16*, int32_t, const KelChar16* text, const KelChar16*,
                                        uint32_t) {
    std::u16string kept;
    for (; text && *text; ++text) kept += static_cast<char16_t>(*text);
    static_cast<std::vector<std::u16string>*>(texts)->push_back(kept);
}

// A legacy decode opened with the plain or the quick kernels; each keeps
// the set it was opened with.
struct KernelDecode {
    JpegDecodeParams params;
    JpegHandle handle;
    KernelDecode(const uint8_t* data, size_t size, bool plain) {
        forceScalarKernels(plain);
        handle = openMemoryDecode(&params, data, size, 0);
        forceScalarKernels(false);
    }
    ~KernelDecode() {
        if (handle) (void)jpegDecodeEpilog(handle);
    }
    KernelDecode(const KernelDecode&) = delete;
    KernelDecode& operator=(const KernelDecode&) = delete;
};

// Decodes a sequential frame MCU by MCU at every scale with the plain and
// the quick kernels side by side, and tells where the two first differ in
// anything either leaves behind after an MCU: result, reports, blocks,
// predictors, restart bookkeeping, the reader's whole state. Empty when they
// never do (or the input is no sequential frame).
inline std::string firstReaderDifference(const uint8_t* data, size_t size) {
    HarnessScope scope;
    std::vector<std::u16string> reports;
    jpegSetReportHandler(keepReportText, &reports);
    const McuDecoder decoders[] = {decodeMcuEighth, decodeMcuQuarter, decodeMcuHalf, decodeMcuFull};
    for (int scale = 0; scale < 4; ++scale) {
        reports.clear();
        KernelDecode plain(data, size, true), quick(data, size, false);
        if (!plain.handle || !quick.handle)
            return plain.handle == quick.handle ? std::string() : "only one decode opens";
        FrameHeader header;
        if (jpegGetFrameHeader(plain.handle, &header) != 0 || (header.sofMarker != 0xFFC0 && header.sofMarker != 0xFFC1))
            return std::string();
        const DecoderState& dec = plain.handle->dec;
        for (uint32_t mcu = 0; mcu <= dec.totalMcus; ++mcu) {
            const std::string where = "scale " + std::to_string(scale) + ", MCU " + std::to_string(mcu) + ": ";
            reports.clear();
            const int32_t plainResult = decoders[scale](plain.handle);
            const std::vector<std::u16string> plainReports = reports;
            reports.clear();
            const int32_t quickResult = decoders[scale](quick.handle);
            if (plainResult != quickResult) return where + "results";
            if (plainReports != reports) return where + "reports";
            const std::string plainState = readerState(*plain.handle->bitstream);
            const std::string quickState = readerState(*quick.handle->bitstream);
            if (plainState != quickState) return where + "reader state " + plainState + " against " + quickState;
            const size_t values = size_t{dec.blocksPerMcu} * kBlockValues;
            if (dec.mcuBlocks && !std::equal(dec.mcuBlocks, dec.mcuBlocks + values, quick.handle->dec.mcuBlocks))
                return where + "blocks";
            for (uint32_t c = 0; c < dec.componentCount && c < 4; ++c)
                if (plain.handle->componentRecords[c].dcPredictor != quick.handle->componentRecords[c].dcPredictor)
                    return where + "predictor of component " + std::to_string(c);
            if (plain.handle->mcuCounter != quick.handle->mcuCounter) return where + "restart count";
            if (dec.lastMarker != quick.handle->dec.lastMarker) return where + "last marker";
            if (plainResult <= 0) break;
        }
    }
    return std::string();
}

}  // namespace fuzz_harness
