// Streams for the decoder tests. Written in code: frames of flat blocks (only
// a DC term each, so every sample is known exactly) and a lossless encoder
// for exact round trips; stream surgery; and libjpeg-turbo's library as the
// black-box peer that writes files (any sampling, scan script, restart
// interval, colour space, table kind) and decodes them for comparison.
#pragma once

#include <algorithm>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "KelJPEG.h"
#include "test_support.h"

#if defined(KELJPEG_HAVE_LIBJPEG)
#include <jpeglib.h>
#endif

namespace testing_support {

// ---- Frames of flat blocks ----

struct FlatComponent {
    uint8_t id;
    uint8_t sampling = 0x11;  // H*16+V
    uint8_t table = 0;        // quantisation table
};
struct FlatScan {
    std::vector<int> components;              // frame indexes
    int restartInterval = -1;                 // 0 or more: a DRI segment before the scan
    std::vector<std::pair<int, int>> tables;  // 16-bit DQT segments (table, DC entry) before the scan
};
// A block being written: its component, its MCU and place in the MCU, and
// its column and row among the component's blocks.
struct Block {
    int component;
    uint32_t mcu;
    int index, x, y;
};
struct FlatJpeg {
    uint8_t frame = 0xC0;  // 0xC0 or 0xC1; 0xC2 writes DC first scans only
    uint16_t width = 8, height = 8;
    int precision = 8;
    std::vector<FlatComponent> components = {{1}};
    uint16_t restartInterval = 0;        // a DRI segment before the frame
    bool heightInDnl = false;            // SOF says 0 lines; a DNL after the first scan says height
    std::vector<uint8_t> extraSegments;  // inserted after SOI (APPn, COM ...)
    // None: one scan of every component, coded MCU by MCU even when there is
    // only one (as the legacy reading takes a sampled grey frame).
    std::vector<FlatScan> scans;
    // The quantised DC of a block. Table 0 starts with every entry 1, where a
    // DC of 8v decodes to the flat sample v, stored as v + 128.
    std::function<int(const Block&)> level = [](const Block&) { return 0; };
};

// Levels from flat samples (-128..127) given per component, MCU and block within the MCU.
template <typename Sample>
std::function<int(const Block&)> samples(Sample sample) {
    return [sample](const Block& b) { return 8 * sample(b.component, b.mcu, b.index); };
}

// SOI, the extra segments, table 0 of entries 1, one Huffman table pair, and
// the scans. DC table 0: categories 0..13 as 4-bit codes equal to the
// category, 14 and 15 as 5-bit codes 28 and 29. AC table 0: 00 end of block,
// 01 ZRL, 10 run 0 size 1.
inline std::vector<uint8_t> flatJpeg(const FlatJpeg& f) {
    std::vector<uint8_t> out = {0xFF, 0xD8};
    for (uint8_t byte : f.extraSegments) out.push_back(byte);  // (a range insert upsets g++'s bounds warning)
    std::vector<uint8_t> dqt(65, 1);
    dqt[0] = 0;
    putSegment(out, 0xDB, dqt);
    std::vector<uint8_t> dht = {0x00, 0, 0, 0, 14, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    for (int s = 0; s < 16; ++s) dht.push_back(uint8_t(s));
    dht.insert(dht.end(), {0x10, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x00, 0xF0, 0x01});
    putSegment(out, 0xC4, dht);
    if (f.restartInterval) putSegment(out, 0xDD, {uint8_t(f.restartInterval >> 8), uint8_t(f.restartInterval)});
    const int count = int(f.components.size());
    int maxH = 1, maxV = 1;
    std::vector<uint8_t> sof = {uint8_t(f.precision)};
    put16(sof, f.heightInDnl ? 0 : f.height);
    put16(sof, f.width);
    sof.push_back(uint8_t(count));
    std::vector<FlatScan> scans = f.scans;
    if (scans.empty()) scans.push_back({});
    for (int c = 0; c < count; ++c) {
        const FlatComponent& k = f.components[size_t(c)];
        maxH = std::max(maxH, k.sampling >> 4);
        maxV = std::max(maxV, k.sampling & 15);
        sof.insert(sof.end(), {k.id, k.sampling, k.table});
        if (f.scans.empty()) scans[0].components.push_back(c);
    }
    const int mcusAcross = (f.width + 8 * maxH - 1) / (8 * maxH), mcusDown = (f.height + 8 * maxV - 1) / (8 * maxV);
    for (size_t s = 0; s < scans.size(); ++s) {
        const FlatScan& scan = scans[s];
        for (auto [table, dc] : scan.tables) {  // 16-bit entries: DC as given, the rest 1
            std::vector<uint8_t> table16 = {uint8_t(0x10 | table), uint8_t(dc >> 8), uint8_t(dc)};
            for (int k = 1; k < 64; ++k) table16.insert(table16.end(), {0, 1});
            putSegment(out, 0xDB, table16);
        }
        if (s == 0) putSegment(out, f.frame, sof);
        if (scan.restartInterval >= 0) putSegment(out, 0xDD, {uint8_t(scan.restartInterval >> 8), uint8_t(scan.restartInterval)});
        const int restartInterval = scan.restartInterval >= 0 ? scan.restartInterval : f.restartInterval;
        std::vector<uint8_t> sos = {uint8_t(scan.components.size())};
        for (int c : scan.components) sos.insert(sos.end(), {f.components[size_t(c)].id, 0x00});
        sos.insert(sos.end(), {0, uint8_t(f.frame == 0xC2 ? 0 : 63), 0});
        putSegment(out, 0xDA, sos);
        BitWriter bits;
        std::vector<int> predictor(size_t(count), 0);
        auto block = [&](const Block& b) {
            const int diff = f.level(b) - predictor[size_t(b.component)];
            predictor[size_t(b.component)] += diff;
            const uint32_t magnitude = uint32_t(diff < 0 ? -diff : diff);
            int category = 0;
            while ((magnitude >> category) != 0) ++category;
            bits.put(category < 14 ? uint32_t(category) : uint32_t(28 + category - 14), category < 14 ? 4 : 5);
            if (category) bits.put(uint32_t(diff < 0 ? diff - 1 : diff) & ((1u << category) - 1), category);
            if (f.frame != 0xC2) bits.put(0, 2);  // end of block
        };
        // A scan of one component codes its blocks in raster order, one per MCU.
        const bool single = !f.scans.empty() && scan.components.size() == 1;
        const int first = f.components[size_t(scan.components[0])].sampling;
        const int across = single ? ((f.width * (first >> 4) + maxH - 1) / maxH + 7) / 8 : mcusAcross;
        const int down = single ? ((f.height * (first & 15) + maxV - 1) / maxV + 7) / 8 : mcusDown;
        for (int unit = 0, restarts = 0; unit < across * down; ++unit) {
            if (restartInterval && unit && unit % restartInterval == 0) {
                bits.align();
                bits.bytes().insert(bits.bytes().end(), {0xFF, uint8_t(0xD0 + (restarts++ & 7))});
                std::fill(predictor.begin(), predictor.end(), 0);
            }
            const int ux = unit % across, uy = unit / across;
            if (single) {
                block({scan.components[0], uint32_t(unit), 0, ux, uy});
                continue;
            }
            for (int c : scan.components) {
                const int h = f.components[size_t(c)].sampling >> 4, v = f.components[size_t(c)].sampling & 15;
                for (int i = 0; i < h * v; ++i) block({c, uint32_t(unit), i, ux * h + i % h, uy * v + i / h});
            }
        }
        bits.align();
        out.insert(out.end(), bits.bytes().begin(), bits.bytes().end());
        if (s == 0 && f.heightInDnl) putSegment(out, 0xDC, {uint8_t(f.height >> 8), uint8_t(f.height)});
    }
    out.insert(out.end(), {0xFF, 0xD9});
    return out;
}

// A flat grey frame of `scans` scans. Sizes past 4096 go into the frame
// header of an 8 x 8 picture's file, for tests that only open it.
inline std::vector<uint8_t> flatGrey(uint8_t frame, uint16_t width, uint16_t height, int scans = 1) {
    FlatJpeg f;
    f.frame = frame;
    const bool huge = width > 4096 || height > 4096;
    f.width = huge ? 8 : width;
    f.height = huge ? 8 : height;
    f.scans.assign(size_t(scans), FlatScan{{0}, -1, {}});
    std::vector<uint8_t> jpeg = flatJpeg(f);
    const size_t sof = segmentAt(jpeg, frame);
    jpeg[sof + 5] = uint8_t(height >> 8);
    jpeg[sof + 6] = uint8_t(height);
    jpeg[sof + 7] = uint8_t(width >> 8);
    jpeg[sof + 8] = uint8_t(width);
    return jpeg;
}

// ---- Lossless streams ----

struct LosslessRecipe {
    int width = 19, height = 13, precision = 8, predictor = 1, pointTransform = 0, restartInterval = 0;
    std::vector<uint8_t> sampling;  // H*16+V per component
    // The legacy reading takes 16 bits after category 16 as the difference
    // itself; standard mode takes none, the category alone meaning 32768.
    bool bitsAfter32768 = false;
    // The largest horizontal and vertical factors.
    std::pair<int, int> largestFactors() const {
        int h = 1, v = 1;
        for (uint8_t s : sampling) h = std::max(h, s >> 4), v = std::max(v, s & 15);
        return {h, v};
    }
};

// Component planes (already point-transformed, padded to whole MCUs) in,
// file out. Categories 0..16 get codes of lengths 3..9 from one table.
// Predictors other than 1..7 are written as given, for failure tests.
inline std::vector<uint8_t> writeLossless(const LosslessRecipe& recipe, const std::vector<std::vector<int32_t>>& planes) {
    const int count = int(recipe.sampling.size());
    const auto [maxH, maxV] = recipe.largestFactors();
    const uint8_t counts[16] = {0, 0, 6, 0, 7, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0};  // 17 codes, none all ones
    uint32_t codes[17];
    int lengths[17];
    for (uint32_t length = 1, symbol = 0, code = 0; length <= 16; ++length, code <<= 1)
        for (int i = 0; i < counts[length - 1]; ++i, ++symbol) {
            codes[symbol] = code++;
            lengths[symbol] = int(length);
        }
    std::vector<uint8_t> out = {0xFF, 0xD8};
    std::vector<uint8_t> sof = {uint8_t(recipe.precision)};
    put16(sof, uint32_t(recipe.height));
    put16(sof, uint32_t(recipe.width));
    sof.push_back(uint8_t(count));
    for (int c = 0; c < count; ++c) sof.insert(sof.end(), {uint8_t(c + 1), recipe.sampling[size_t(c)], 0});
    putSegment(out, 0xC3, sof);
    std::vector<uint8_t> dht(counts, counts + 16);
    dht.insert(dht.begin(), 0x00);
    for (int s = 0; s <= 16; ++s) dht.push_back(uint8_t(s));
    putSegment(out, 0xC4, dht);
    if (recipe.restartInterval) putSegment(out, 0xDD, {uint8_t(recipe.restartInterval >> 8), uint8_t(recipe.restartInterval)});
    std::vector<uint8_t> sos = {uint8_t(count)};
    for (int c = 0; c < count; ++c) sos.insert(sos.end(), {uint8_t(c + 1), 0x00});
    sos.insert(sos.end(), {uint8_t(recipe.predictor), 0, uint8_t(recipe.pointTransform)});
    putSegment(out, 0xDA, sos);

    // A scan of one component codes one sample per MCU, in the component's raster order.
    const bool single = count == 1;
    const int planeAcross = (recipe.width + maxH - 1) / maxH;
    const int mcusAcross = single ? recipe.width : planeAcross, mcusDown = single ? recipe.height : (recipe.height + maxV - 1) / maxV;
    std::vector<int> firstRow(static_cast<size_t>(count), 0);
    const int32_t mid = 1 << (recipe.precision - recipe.pointTransform - 1);
    BitWriter bits;
    int restartNumber = 0;
    for (int m = 0; m < mcusAcross * mcusDown; ++m) {
        const int mx = m % mcusAcross, my = m / mcusAcross;
        if (recipe.restartInterval && m && m % recipe.restartInterval == 0) {
            bits.align();
            bits.bytes().insert(bits.bytes().end(), {0xFF, uint8_t(0xD0 + (restartNumber++ & 7))});
            for (int c = 0; c < count; ++c) firstRow[size_t(c)] = single ? my : my * (recipe.sampling[size_t(c)] & 15);
        }
        for (int c = 0; c < count; ++c) {
            const int h = single ? 1 : recipe.sampling[size_t(c)] >> 4, v = single ? 1 : recipe.sampling[size_t(c)] & 15;
            const int w = planeAcross * (recipe.sampling[size_t(c)] >> 4);
            const std::vector<int32_t>& p = planes[size_t(c)];
            auto at = [&](int xx, int yy) { return p[size_t(yy) * size_t(w) + size_t(xx)]; };
            for (int vy = 0; vy < v; ++vy)
                for (int hx = 0; hx < h; ++hx) {
                    const int x = mx * h + hx, y = my * v + vy;
                    int32_t px;
                    if (y == firstRow[size_t(c)]) px = x == 0 ? mid : at(x - 1, y);
                    else if (x == 0) px = at(0, y - 1);
                    else {
                        const int32_t ra = at(x - 1, y), rb = at(x, y - 1), rc = at(x - 1, y - 1);
                        switch (recipe.predictor) {
                            case 1: px = ra; break;
                            case 2: px = rb; break;
                            case 3: px = rc; break;
                            case 4: px = ra + rb - rc; break;
                            case 5: px = ra + ((rb - rc) >> 1); break;
                            case 6: px = rb + ((ra - rc) >> 1); break;
                            default: px = (ra + rb) >> 1; break;
                        }
                    }
                    int32_t d = (at(x, y) - px) & 0xFFFF;
                    if (d >= 0x8000) d -= 0x10000;
                    if (d == -32768) {
                        bits.put(codes[16], lengths[16]);
                        if (recipe.bitsAfter32768) bits.put(0x8000, 16);
                        continue;
                    }
                    const uint32_t magnitude = uint32_t(d < 0 ? -d : d);
                    int category = 0;
                    while ((magnitude >> category) != 0) ++category;
                    bits.put(codes[category], lengths[category]);
                    if (category) bits.put(uint32_t(d < 0 ? d - 1 : d) & ((1u << category) - 1), category);
                }
        }
    }
    bits.align();
    out.insert(out.end(), bits.bytes().begin(), bits.bytes().end());
    out.insert(out.end(), {0xFF, 0xD9});
    return out;
}

// ---- Stream surgery ----

// Every marker after SOI gets count fill bytes 0xFF in front of it.
inline std::vector<uint8_t> withFillBytes(const std::vector<uint8_t>& jpeg, int count) {
    std::vector<uint8_t> out;
    size_t from = 0;
    for (const Segment& s : segmentsOf(jpeg)) {
        if (s.offset == 0) continue;
        out.insert(out.end(), jpeg.begin() + ptrdiff_t(from), jpeg.begin() + ptrdiff_t(s.offset));
        out.insert(out.end(), size_t(count), 0xFF);
        from = s.offset;
    }
    out.insert(out.end(), jpeg.begin() + ptrdiff_t(from), jpeg.end());
    return out;
}

// The frame header's height set to 0 and a DNL segment with the true height
// written after the first scan's data.
inline std::vector<uint8_t> withDnlHeight(const std::vector<uint8_t>& jpeg) {
    std::vector<uint8_t> out = jpeg;
    size_t sof = 0;
    for (const Segment& s : segmentsOf(jpeg))
        if (s.marker >= 0xC0 && s.marker <= 0xC3) sof = s.offset;
    const size_t afterFirstScan = scanDataRanges(jpeg).front().second;
    const uint8_t dnl[] = {0xFF, 0xDC, 0x00, 0x04, out[sof + 5], out[sof + 6]};
    out[sof + 5] = out[sof + 6] = 0;
    out.insert(out.begin() + ptrdiff_t(afterFirstScan), std::begin(dnl), std::end(dnl));
    return out;
}

// ---- The peer: libjpeg-turbo's library ----

#if defined(KELJPEG_HAVE_LIBJPEG)

struct PeerError {
    jpeg_error_mgr manager;
    std::jmp_buf jump;
};
inline void onPeerError(j_common_ptr cinfo) { std::longjmp(reinterpret_cast<PeerError*>(cinfo->err)->jump, 1); }
inline void onPeerMessage(j_common_ptr) {}

// What the peer is asked to write.
struct PeerRecipe {
    int width = 61, height = 45;
    int inputChannels = 3;                      // 1 grey, 3 RGB, 4 CMYK
    J_COLOR_SPACE stored = JCS_UNKNOWN;         // the library's choice, or JCS_RGB, JCS_CMYK, JCS_YCCK ...
    std::vector<std::pair<int, int>> sampling;  // per component; empty: the library's default
    int quality = 85;
    bool baseline = true;                       // false allows 16-bit quantisation tables
    bool progressive = false;                   // the library's own progression
    std::vector<jpeg_scan_info> scans;          // a scan script, when not empty
    int restartBlocks = 0, restartRows = 0;
    bool optimize = false;
    int seed = 1;
    const Picture* picture = nullptr;           // the pixels (red-green-blue) instead of a noisyPicture
};

// Luma factors h x v, chroma 1x1.
inline std::vector<std::pair<int, int>> lumaSampling(int h, int v) { return {{h, v}, {1, 1}, {1, 1}}; }

// A scan script as text: "0,1,2: 0-0, 0, 1; 0: 1-63, 0, 0;" (components: Ss-Se, Ah, Al).
inline std::vector<jpeg_scan_info> scanScript(const std::string& text) {
    std::vector<jpeg_scan_info> scans;
    for (size_t at = 0; at < text.size();) {
        const size_t end = text.find(';', at);
        if (end == std::string::npos) break;
        std::string one = text.substr(at, end - at);
        jpeg_scan_info s{};
        const char* p = one.c_str();
        for (char* next = nullptr;; p = next + 1) {
            s.component_index[s.comps_in_scan++] = int(std::strtol(p, &next, 10));
            if (*next != ',') break;
        }
        std::sscanf(std::strchr(p, ':') + 1, "%d-%d,%d,%d", &s.Ss, &s.Se, &s.Ah, &s.Al);
        scans.push_back(s);
        at = end + 1;
    }
    return scans;
}

// The peer's file, empty when it fails.
inline std::vector<uint8_t> peerEncode(const PeerRecipe& recipe) {
    const Picture source = recipe.picture ? *recipe.picture : noisyPicture(recipe.width, recipe.height, recipe.inputChannels, recipe.seed);
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
        return {};
    }
    jpeg_create_compress(&cinfo);
    jpeg_mem_dest(&cinfo, &buffer, &size);
    cinfo.image_width = JDIMENSION(source.width);
    cinfo.image_height = JDIMENSION(source.height);
    cinfo.input_components = source.channels;
    cinfo.in_color_space = source.channels == 1 ? JCS_GRAYSCALE : source.channels == 4 ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(&cinfo);
    if (recipe.stored != JCS_UNKNOWN) jpeg_set_colorspace(&cinfo, recipe.stored);
    jpeg_set_quality(&cinfo, recipe.quality, recipe.baseline ? TRUE : FALSE);
    for (size_t c = 0; c < recipe.sampling.size() && int(c) < cinfo.num_components; ++c) {
        cinfo.comp_info[c].h_samp_factor = recipe.sampling[c].first;
        cinfo.comp_info[c].v_samp_factor = recipe.sampling[c].second;
    }
    if (recipe.progressive) jpeg_simple_progression(&cinfo);
    if (!recipe.scans.empty()) {
        cinfo.scan_info = recipe.scans.data();
        cinfo.num_scans = int(recipe.scans.size());
    }
    cinfo.restart_interval = unsigned(recipe.restartBlocks);
    cinfo.restart_in_rows = recipe.restartRows;
    cinfo.optimize_coding = recipe.optimize ? TRUE : FALSE;
    jpeg_start_compress(&cinfo, TRUE);
    while (cinfo.next_scanline < cinfo.image_height) {
        JSAMPROW row = const_cast<uint8_t*>(source.row(int(cinfo.next_scanline)));
        jpeg_write_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_compress(&cinfo);
    std::vector<uint8_t> jpeg(buffer, buffer + size);
    jpeg_destroy_compress(&cinfo);
    std::free(buffer);
    return jpeg;
}

// The peer's file of a picture: luma factors h x v (colour only), a quality,
// baseline or progressive by a scan script (empty: the peer's own
// progression), with restarts every restartBlocks blocks or, when negative,
// every -restartBlocks rows.
inline std::vector<uint8_t> peerJpeg(const Picture& picture, int h, int v, int quality = 75, const char* script = nullptr,
                                     int restartBlocks = 0) {
    PeerRecipe recipe;
    recipe.picture = &picture;
    if (picture.channels == 3) recipe.sampling = lumaSampling(h, v);
    recipe.quality = quality;
    recipe.progressive = script && !*script;
    if (script) recipe.scans = scanScript(script);
    recipe.restartBlocks = std::max(restartBlocks, 0);
    recipe.restartRows = std::max(-restartBlocks, 0);
    return peerEncode(recipe);
}

enum PeerFlags { kPeerFancyUpsampling = 1, kPeerYCbCr = 2 };

// The peer's decode with the accurate integer transform, no smoothing of an
// incomplete progression and replicated chroma unless flags ask: grey,
// blue-green-red (YCbCr with kPeerYCbCr), or four-component files shown as a
// viewer shows Adobe CMYK; at a scale (JPEG_SCALE_*) through its reduced
// transforms. False when the peer fails.
inline bool peerDecode(const std::vector<uint8_t>& jpeg, Picture& out, int scale = JPEG_SCALE_FULL, int flags = 0) {
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
    cinfo.out_color_space = cinfo.num_components == 1 ? JCS_GRAYSCALE : fourComponents ? JCS_CMYK
                            : (flags & kPeerYCbCr) ? JCS_YCbCr : JCS_EXT_BGR;
    cinfo.dct_method = JDCT_ISLOW;
    cinfo.do_fancy_upsampling = (flags & kPeerFancyUpsampling) ? TRUE : FALSE;
    cinfo.do_block_smoothing = FALSE;
    cinfo.scale_num = 1;
    cinfo.scale_denom = 1u << (JPEG_SCALE_FULL - scale);
    jpeg_start_decompress(&cinfo);
    const int channels = int(cinfo.output_components);
    row.resize(size_t(cinfo.output_width) * channels);
    out = Picture{int(cinfo.output_width), int(cinfo.output_height), fourComponents ? 3 : channels, {}};
    while (cinfo.output_scanline < cinfo.output_height) {
        JSAMPROW r = row.data();
        jpeg_read_scanlines(&cinfo, &r, 1);
        if (!fourComponents) {
            out.pixels.insert(out.pixels.end(), row.begin(), row.end());
            continue;
        }
        // Adobe stores inverted ink: the colour is ink times black over 255.
        for (size_t x = 0; x < cinfo.output_width; ++x)
            for (int c = 2; c >= 0; --c) out.pixels.push_back(uint8_t((row[x * 4 + c] * row[x * 4 + 3] + 127) / 255));
    }
    jpeg_finish_decompress(&cinfo);
    jpeg_destroy_decompress(&cinfo);
    return true;
}

#endif  // KELJPEG_HAVE_LIBJPEG

}  // namespace testing_support
