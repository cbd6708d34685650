// Helpers of the standard-mode tests: libjpeg-turbo as the black-box peer that
// writes the files (any sampling, scan script, restart interval, colour space)
// and decodes them with the accurate integer transform and plain replication,
// our decoder in standard or legacy mode, stream surgery (fill bytes, DNL),
// and a writer of DC-only frames for what the peer cannot write.
#pragma once

#include <algorithm>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "KelJPEG.h"
#include "decoder_test_support.h"

#if defined(KELJPEG_HAVE_LIBJPEG)
#include <jpeglib.h>
#endif

namespace standard_test {

using decoder_testing::BitWriter;
using decoder_testing::putSegment;
using decoder_testing::LosslessSpec;
using decoder_testing::writeLossless;

// A picture with smooth gradients, edges and fine texture, so that every
// coefficient band carries data.
inline std::vector<uint8_t> makePicture(int width, int height, int channels, int seed) {
    std::vector<uint8_t> pixels(static_cast<size_t>(width) * height * channels);
    uint32_t noise = 12345u + static_cast<uint32_t>(seed) * 7919u;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < channels; ++c) {
                noise = noise * 1103515245u + 12345u;
                int v = (x * (3 + c) + y * (5 - c) + seed * 17) % 256;
                if (((x / 9) + (y / 7) + c) % 3 == 0) v = 255 - v;
                v += static_cast<int>((noise >> 16) % 24) - 12;
                pixels[(static_cast<size_t>(y) * width + x) * channels + c] = static_cast<uint8_t>(std::clamp(v, 0, 255));
            }
    return pixels;
}

// A decoded picture: rows of width pixels, channels bytes each (blue, green,
// red for our colour output, red, green, blue for the peer's).
struct Picture {
    int width = 0, height = 0, channels = 0;
    std::vector<uint8_t> pixels;
};

// Largest difference between our blue-green-red (or grey) picture and the
// peer's, over rows first..last-1 (all rows by default).
inline int largestDifference(const Picture& ours, const Picture& peer, int first = 0, int last = -1) {
    if (ours.width != peer.width || ours.height != peer.height || ours.channels != peer.channels) return 1000;
    if (last < 0) last = ours.height;
    int largest = 0;
    const bool swap = ours.channels == 3;
    for (size_t p = size_t(first) * ours.width; p < size_t(ours.width) * last; ++p)
        for (int c = 0; c < ours.channels; ++c) {
            int peerChannel = swap ? 2 - c : c;
            int d = std::abs(int(ours.pixels[p * ours.channels + c]) - int(peer.pixels[p * ours.channels + peerChannel]));
            largest = std::max(largest, d);
        }
    return largest;
}

// Our decode from memory, in one call or in strips of rowsPerCall rows (rows
// counted per call, as standard mode counts them). Returns false when the
// prolog or the rows fail; damage, when given, receives jpegDecodeQueryDamage.
inline bool ourDecode(const std::vector<uint8_t>& jpeg, uint16_t options, int channels, Picture& out,
                      int32_t scale = 3, int rowsPerCall = 0, int32_t* damage = nullptr) {
    JpegDecodeParams params{};
    params.options = static_cast<uint16_t>(options | JPEG_OPT_MEMORY);
    params.data = jpeg.data();
    params.dataLength = static_cast<uint32_t>(jpeg.size());
    JpegHandle h = jpegDecodeProlog(nullptr, &params);
    if (!h) return false;
    uint32_t width = 0, height = 0;
    (void)jpegDecodeGetImageSize(h, &width, &height, scale);
    out.width = int(width);
    out.height = int(height);
    out.channels = channels;
    out.pixels.assign(size_t(width) * (height + 16) * channels, 0);
    ImageRect rect{};
    rect.width = int32_t(width);
    rect.height = int32_t(height);
    rect.stride = int32_t(width) * channels;
    rect.bitsPerPixel = channels * 8;
    rect.bits = out.pixels.data();
    const uint32_t step = rowsPerCall > 0 ? uint32_t(rowsPerCall) : height;
    uint32_t done = 0;
    while (done < height) {
        rect.bits = out.pixels.data() + size_t(done) * width * channels;
        rect.height = int32_t(height - done);
        int32_t rows = scale == 3 ? jpegDecodeToRect(h, &rect, step) : jpegDecodeScaleOutputToRect(h, &rect, step, scale);
        if (rows <= 0) break;
        done += uint32_t(rows);
    }
    if (damage) *damage = jpegDecodeQueryDamage(h);
    (void)jpegDecodeEpilog(h);
    out.pixels.resize(size_t(width) * height * channels);
    return done == height;
}

#if defined(KELJPEG_HAVE_LIBJPEG)

struct PeerError {
    jpeg_error_mgr manager;
    std::jmp_buf jump;
};
inline void onPeerError(j_common_ptr cinfo) { std::longjmp(reinterpret_cast<PeerError*>(cinfo->err)->jump, 1); }
inline void onPeerMessage(j_common_ptr) {}

// What the peer is asked to write.
struct PeerSpec {
    int width = 61, height = 45;
    int inputChannels = 3;                 // 1 grey, 3 RGB, 4 CMYK
    J_COLOR_SPACE stored = JCS_YCbCr;      // JCS_GRAYSCALE, JCS_YCbCr, JCS_RGB, JCS_CMYK, JCS_YCCK
    std::vector<std::pair<int, int>> sampling;  // per component; empty: the library's default
    int quality = 85;
    bool baseline = true;                  // false allows 16-bit quantisation tables
    bool progressive = false;              // the library's own progression
    std::vector<jpeg_scan_info> scans;     // a scan script, when not empty
    int restartBlocks = 0, restartRows = 0;
    bool optimize = false;
    int seed = 1;
    bool smooth = false;                   // a picture of gentle gradients alone, as photographs mostly are
};

// Gradients and slow waves, no texture: what a blurred early pass should approach.
inline std::vector<uint8_t> makeSmoothPicture(int width, int height, int channels) {
    std::vector<uint8_t> pixels(static_cast<size_t>(width) * height * channels);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < channels; ++c) {
                const int ramp = (x * 160) / width + (y * 60) / height;
                const int wave = ((x * (2 + c) + y * 3) / 4) % 64;
                const int v = 30 + ramp + (wave < 32 ? wave : 64 - wave);
                pixels[(static_cast<size_t>(y) * width + x) * channels + c] = static_cast<uint8_t>(std::clamp(v, 0, 255));
            }
    return pixels;
}

inline bool peerEncode(const PeerSpec& spec, std::vector<uint8_t>& jpeg) {
    std::vector<uint8_t> source = spec.smooth ? makeSmoothPicture(spec.width, spec.height, spec.inputChannels)
                                              : makePicture(spec.width, spec.height, spec.inputChannels, spec.seed);
    jpeg_compress_struct cinfo;
    PeerError error;
    cinfo.err = jpeg_std_error(&error.manager);
    error.manager.error_exit = onPeerError;
    error.manager.output_message = onPeerMessage;
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    if (setjmp(error.jump)) {
        jpeg_destroy_compress(&cinfo);
        std::free(buffer);
        return false;
    }
    jpeg_create_compress(&cinfo);
    jpeg_mem_dest(&cinfo, &buffer, &size);
    cinfo.image_width = JDIMENSION(spec.width);
    cinfo.image_height = JDIMENSION(spec.height);
    cinfo.input_components = spec.inputChannels;
    cinfo.in_color_space = spec.inputChannels == 1 ? JCS_GRAYSCALE : spec.inputChannels == 4 ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(&cinfo);
    jpeg_set_colorspace(&cinfo, spec.stored);
    jpeg_set_quality(&cinfo, spec.quality, spec.baseline ? TRUE : FALSE);
    for (size_t c = 0; c < spec.sampling.size() && int(c) < cinfo.num_components; ++c) {
        cinfo.comp_info[c].h_samp_factor = spec.sampling[c].first;
        cinfo.comp_info[c].v_samp_factor = spec.sampling[c].second;
    }
    if (spec.progressive) jpeg_simple_progression(&cinfo);
    if (!spec.scans.empty()) {
        cinfo.scan_info = spec.scans.data();
        cinfo.num_scans = int(spec.scans.size());
    }
    cinfo.restart_interval = unsigned(spec.restartBlocks);
    cinfo.restart_in_rows = spec.restartRows;
    cinfo.optimize_coding = spec.optimize ? TRUE : FALSE;
    jpeg_start_compress(&cinfo, TRUE);
    const size_t stride = size_t(spec.width) * spec.inputChannels;
    while (cinfo.next_scanline < cinfo.image_height) {
        JSAMPROW row = source.data() + cinfo.next_scanline * stride;
        jpeg_write_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg.assign(buffer, buffer + size);
    jpeg_destroy_compress(&cinfo);
    std::free(buffer);
    return true;
}

// The peer's decode with the accurate integer transform and no smoothing
// (unless asked for: that of an incomplete progressive picture): grey, RGB,
// or four-component files shown as a viewer shows Adobe CMYK; at a scale (3
// full size, 2/1/0 a half, quarter, eighth) through its reduced transforms,
// as djpeg -scale 1/2 does.
inline bool peerDecode(const std::vector<uint8_t>& jpeg, Picture& out, int scale = 3, bool smoothing = false) {
    jpeg_decompress_struct cinfo;
    PeerError error;
    cinfo.err = jpeg_std_error(&error.manager);
    error.manager.error_exit = onPeerError;
    error.manager.output_message = onPeerMessage;
    // The row outlives a jump out of a damaged file's decode, which ends in the return below.
    std::vector<uint8_t> row;
    if (setjmp(error.jump)) {
        jpeg_destroy_decompress(&cinfo);
        return false;
    }
    jpeg_create_decompress(&cinfo);
    jpeg_mem_src(&cinfo, jpeg.data(), static_cast<unsigned long>(jpeg.size()));
    jpeg_read_header(&cinfo, TRUE);
    const bool fourComponents = cinfo.num_components == 4;
    cinfo.out_color_space = cinfo.num_components == 1 ? JCS_GRAYSCALE : fourComponents ? JCS_CMYK : JCS_RGB;
    cinfo.dct_method = JDCT_ISLOW;
    cinfo.do_fancy_upsampling = FALSE;
    cinfo.do_block_smoothing = smoothing ? TRUE : FALSE;
    cinfo.scale_num = 1;
    cinfo.scale_denom = 1u << (3 - scale);
    jpeg_start_decompress(&cinfo);
    const int channels = int(cinfo.output_components);
    row.resize(size_t(cinfo.output_width) * channels);
    out.width = int(cinfo.output_width);
    out.height = int(cinfo.output_height);
    out.channels = fourComponents ? 3 : channels;
    out.pixels.clear();
    while (cinfo.output_scanline < cinfo.output_height) {
        JSAMPROW r = row.data();
        jpeg_read_scanlines(&cinfo, &r, 1);
        for (size_t x = 0; x < cinfo.output_width; ++x) {
            if (!fourComponents) {
                for (int c = 0; c < channels; ++c) out.pixels.push_back(row[x * channels + c]);
                continue;
            }
            // Adobe stores inverted ink: the colour is ink times black over 255.
            const uint8_t* p = &row[x * 4];
            for (int c = 0; c < 3; ++c) out.pixels.push_back(uint8_t((p[c] * p[3] + 127) / 255));
        }
    }
    jpeg_finish_decompress(&cinfo);
    jpeg_destroy_decompress(&cinfo);
    return true;
}

inline jpeg_scan_info scan(std::initializer_list<int> components, int ss, int se, int ah, int al) {
    jpeg_scan_info s{};
    s.comps_in_scan = int(components.size());
    int i = 0;
    for (int c : components) s.component_index[i++] = c;
    s.Ss = ss;
    s.Se = se;
    s.Ah = ah;
    s.Al = al;
    return s;
}

#endif  // KELJPEG_HAVE_LIBJPEG

// ---- Stream surgery ----

// Offsets of the markers that follow entropy-coded data or stand between
// segments, found by walking segment lengths and skipping entropy data.
inline std::vector<size_t> markerOffsets(const std::vector<uint8_t>& jpeg) {
    std::vector<size_t> offsets;
    size_t i = 2;
    while (i + 1 < jpeg.size()) {
        if (jpeg[i] != 0xFF) {  // entropy-coded data
            ++i;
            continue;
        }
        uint8_t marker = jpeg[i + 1];
        if (marker == 0x00) {
            i += 2;
            continue;
        }
        offsets.push_back(i);
        if (marker == 0xD9) break;
        if (marker >= 0xD0 && marker <= 0xD7) {
            i += 2;
            continue;
        }
        size_t length = (size_t(jpeg[i + 2]) << 8) | jpeg[i + 3];
        i += 2 + length;
    }
    return offsets;
}

// Every marker after SOI gets count fill bytes 0xFF in front of it.
inline std::vector<uint8_t> withFillBytes(const std::vector<uint8_t>& jpeg, int count) {
    std::vector<size_t> offsets = markerOffsets(jpeg);
    std::vector<uint8_t> out;
    size_t from = 0;
    for (size_t at : offsets) {
        out.insert(out.end(), jpeg.begin() + ptrdiff_t(from), jpeg.begin() + ptrdiff_t(at));
        out.insert(out.end(), size_t(count), 0xFF);
        from = at;
    }
    out.insert(out.end(), jpeg.begin() + ptrdiff_t(from), jpeg.end());
    return out;
}

// The frame header's height set to 0 and a DNL segment with the true height
// written after the first scan's data.
inline std::vector<uint8_t> withDnlHeight(const std::vector<uint8_t>& jpeg) {
    std::vector<uint8_t> out = jpeg;
    std::vector<size_t> offsets = markerOffsets(jpeg);
    size_t sof = 0, afterFirstScan = 0;
    bool inScan = false;
    for (size_t at : offsets) {
        uint8_t marker = jpeg[at + 1];
        if (marker >= 0xC0 && marker <= 0xC3) sof = at;
        if (inScan && !(marker >= 0xD0 && marker <= 0xD7)) {
            afterFirstScan = at;
            break;
        }
        if (marker == 0xDA) inScan = true;
    }
    const uint8_t high = out[sof + 5], low = out[sof + 6];
    out[sof + 5] = out[sof + 6] = 0;
    const uint8_t dnl[] = {0xFF, 0xDC, 0x00, 0x04, high, low};
    out.insert(out.begin() + ptrdiff_t(afterFirstScan), std::begin(dnl), std::end(dnl));
    return out;
}


// ---- Sequential frames of flat blocks, written by hand ----
// Each block carries only its DC term, so every sample is known exactly:
// the frame may use 12-bit samples, 16-bit tables, tables and restart
// intervals that change between scans, and any sampling.

struct FlatComponent {
    uint8_t id, h, v, table;
};
struct FlatScan {
    std::vector<int> components;        // frame indexes, in frame order
    int restartInterval = 0;            // a DRI segment before the scan
    std::vector<std::pair<int, int>> tables;  // DQT segments (table, DC entry) before the scan
};
struct FlatFrame {
    int width = 40, height = 24, precision = 8;
    std::vector<FlatComponent> components;
    std::vector<FlatScan> scans;
    int (*level)(int component, int blockX, int blockY) = nullptr;  // the quantised DC of a block
};

inline std::vector<uint8_t> writeFlatFrame(const FlatFrame& f) {
    // DC categories 0..15 on lengths 4 and 5; the AC table holds end-of-block alone.
    const uint8_t dcCounts[16] = {0, 0, 0, 14, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    std::vector<uint8_t> out = {0xFF, 0xD8};
    std::vector<uint8_t> dht = {0x00};
    dht.insert(dht.end(), dcCounts, dcCounts + 16);
    for (int s = 0; s < 16; ++s) dht.push_back(uint8_t(s));
    dht.push_back(0x10);
    dht.push_back(1);
    for (int i = 1; i < 16; ++i) dht.push_back(0);
    dht.push_back(0x00);
    putSegment(out, 0xC4, dht);
    const int count = int(f.components.size());
    int maxH = 1, maxV = 1;
    for (const FlatComponent& c : f.components) {
        maxH = std::max(maxH, int(c.h));
        maxV = std::max(maxV, int(c.v));
    }
    std::vector<uint8_t> sof = {uint8_t(f.precision), uint8_t(f.height >> 8), uint8_t(f.height),
                                uint8_t(f.width >> 8), uint8_t(f.width), uint8_t(count)};
    for (const FlatComponent& c : f.components) sof.insert(sof.end(), {c.id, uint8_t(c.h << 4 | c.v), c.table});
    const int mcusAcross = (f.width + 8 * maxH - 1) / (8 * maxH), mcusDown = (f.height + 8 * maxV - 1) / (8 * maxV);
    bool frameWritten = false;
    for (const FlatScan& scan : f.scans) {
        for (auto [table, dc] : scan.tables) {  // 16-bit entries: DC as given, the rest 1
            std::vector<uint8_t> dqt = {uint8_t(0x10 | table), uint8_t(dc >> 8), uint8_t(dc)};
            for (int k = 1; k < 64; ++k) dqt.insert(dqt.end(), {0, 1});
            putSegment(out, 0xDB, dqt);
        }
        if (!frameWritten) putSegment(out, 0xC1, sof);
        frameWritten = true;
        putSegment(out, 0xDD, {uint8_t(scan.restartInterval >> 8), uint8_t(scan.restartInterval)});
        std::vector<uint8_t> sos = {uint8_t(scan.components.size())};
        for (int c : scan.components) sos.insert(sos.end(), {f.components[size_t(c)].id, 0x00});
        sos.insert(sos.end(), {0, 63, 0});
        putSegment(out, 0xDA, sos);
        BitWriter bits;
        std::vector<int> predictor(size_t(count), 0);
        auto block = [&](int c, int bx, int by) {
            int diff = f.level(c, bx, by) - predictor[size_t(c)];
            predictor[size_t(c)] += diff;
            uint32_t magnitude = uint32_t(diff < 0 ? -diff : diff);
            int category = 0;
            while ((magnitude >> category) != 0) ++category;
            uint32_t code = category < 14 ? uint32_t(category) : uint32_t(28 + category - 14);
            bits.put(code, category < 14 ? 4 : 5);
            if (category) bits.put(uint32_t(diff < 0 ? diff - 1 : diff) & ((1u << category) - 1), category);
            bits.put(0, 1);  // end of block
        };
        const bool single = scan.components.size() == 1;
        const FlatComponent& first = f.components[size_t(scan.components[0])];
        const int across = single ? ((f.width * first.h + maxH - 1) / maxH + 7) / 8 : mcusAcross;
        const int down = single ? ((f.height * first.v + maxV - 1) / maxV + 7) / 8 : mcusDown;
        for (int unit = 0, restarts = 0; unit < across * down; ++unit) {
            if (scan.restartInterval && unit && unit % scan.restartInterval == 0) {
                bits.align();
                bits.bytes().insert(bits.bytes().end(), {0xFF, uint8_t(0xD0 + (restarts++ & 7))});
                std::fill(predictor.begin(), predictor.end(), 0);
            }
            const int ux = unit % across, uy = unit / across;
            if (single) {
                block(scan.components[0], ux, uy);
                continue;
            }
            for (int c : scan.components)
                for (int v = 0; v < f.components[size_t(c)].v; ++v)
                    for (int h = 0; h < f.components[size_t(c)].h; ++h)
                        block(c, ux * f.components[size_t(c)].h + h, uy * f.components[size_t(c)].v + v);
        }
        bits.align();
        out.insert(out.end(), bits.bytes().begin(), bits.bytes().end());
    }
    out.insert(out.end(), {0xFF, 0xD9});
    return out;
}

}  // namespace standard_test
