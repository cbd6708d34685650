#include "encoder/encode_tables.h"

#include <cstring>

#include "context/jpeg_context.h"
#include "runtime/heap.h"

namespace encoder {

namespace {

// The T.81 Annex K example tables in their familiar row-major layout; they
// are stored for the coder in zig-zag order below.
constexpr uint16_t kLuminanceNatural[64] = {
    16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
    14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
    18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
    49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99,
};
constexpr uint16_t kChrominanceNatural[64] = {
    17, 18, 24, 47, 99, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99,
    24, 26, 56, 99, 99, 99, 99, 99, 47, 66, 99, 99, 99, 99, 99, 99,
    99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
    99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
};

constexpr QuantTable toZigzag(const uint16_t (&natural)[64]) {
    QuantTable t{};
    for (int k = 0; k < 64; ++k) t.v[k] = natural[zigzagToNatural[k]];
    return t;
}

constexpr uint32_t kScaleForQualityZero = 5000;  // quality 0 is treated as quality 1

}  // namespace

const QuantTable kBaseQuantTables[2] = {toZigzag(kLuminanceNatural), toZigzag(kChrominanceNatural)};

const QuantTable kFineQuantTables[2] = {
    {{4, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
     1, 1, 2, 2, 2, 2, 2, 2, 2, 2, 1, 1, 2, 3, 2, 2, 2, 3, 3, 3, 3, 1, 2, 3, 3, 3, 3, 3, 2, 3, 3, 3}},
    {{4, 1, 1, 1, 1, 1, 1, 1, 1, 1, 3, 2, 1, 2, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3,
     3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3}},
};

const StandardHuffmanTable kStandardHuffmanTables[4] = {
    // DC luminance
    {{0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}},
    // DC chrominance
    {{0, 3, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}},
    // AC luminance
    {{0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7d},
     {0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61, 0x07, 0x22, 0x71,
      0x14, 0x32, 0x81, 0x91, 0xa1, 0x08, 0x23, 0x42, 0xb1, 0xc1, 0x15, 0x52, 0xd1, 0xf0, 0x24, 0x33, 0x62, 0x72,
      0x82, 0x09, 0x0a, 0x16, 0x17, 0x18, 0x19, 0x1a, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2a, 0x34, 0x35, 0x36, 0x37,
      0x38, 0x39, 0x3a, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4a, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59,
      0x5a, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6a, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7a, 0x83,
      0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8a, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9a, 0xa2, 0xa3,
      0xa4, 0xa5, 0xa6, 0xa7, 0xa8, 0xa9, 0xaa, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6, 0xb7, 0xb8, 0xb9, 0xba, 0xc2, 0xc3,
      0xc4, 0xc5, 0xc6, 0xc7, 0xc8, 0xc9, 0xca, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7, 0xd8, 0xd9, 0xda, 0xe1, 0xe2,
      0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8, 0xe9, 0xea, 0xf1, 0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7, 0xf8, 0xf9, 0xfa}},
    // AC chrominance
    {{0, 2, 1, 2, 4, 4, 3, 4, 7, 5, 4, 4, 0, 1, 2, 0x77},
     {0x00, 0x01, 0x02, 0x03, 0x11, 0x04, 0x05, 0x21, 0x31, 0x06, 0x12, 0x41, 0x51, 0x07, 0x61, 0x71, 0x13, 0x22,
      0x32, 0x81, 0x08, 0x14, 0x42, 0x91, 0xa1, 0xb1, 0xc1, 0x09, 0x23, 0x33, 0x52, 0xf0, 0x15, 0x62, 0x72, 0xd1,
      0x0a, 0x16, 0x24, 0x34, 0xe1, 0x25, 0xf1, 0x17, 0x18, 0x19, 0x1a, 0x26, 0x27, 0x28, 0x29, 0x2a, 0x35, 0x36,
      0x37, 0x38, 0x39, 0x3a, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4a, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58,
      0x59, 0x5a, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6a, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7a,
      0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8a, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9a,
      0xa2, 0xa3, 0xa4, 0xa5, 0xa6, 0xa7, 0xa8, 0xa9, 0xaa, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6, 0xb7, 0xb8, 0xb9, 0xba,
      0xc2, 0xc3, 0xc4, 0xc5, 0xc6, 0xc7, 0xc8, 0xc9, 0xca, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7, 0xd8, 0xd9, 0xda,
      0xe2, 0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8, 0xe9, 0xea, 0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7, 0xf8, 0xf9, 0xfa}},
};

namespace {

// Component i (1-based) of n takes the byte at bit 8 * (n - i); a shift of
// 32 or more gives 0.
uint8_t samplingByte(uint32_t factors, uint32_t n, uint32_t i) {
    uint32_t shift = 8 * (n - i);
    return shift >= 32 ? 0 : static_cast<uint8_t>(factors >> shift);
}

bool isCodedSampling(uint8_t s) { return s == 0x11 || s == 0x12 || s == 0x21 || s == 0x22; }

// A DC code list sorted by symbol so that entry k codes category k; the
// selection sort keeps equal symbols in their order.
void sortBySymbol(HuffmanCode* list, uint32_t count) {
    for (uint32_t i = 0; i + 1 < count; ++i) {
        uint32_t smallest = i;
        for (uint32_t j = i + 1; j < count; ++j)
            if (list[j].symbol < list[smallest].symbol) smallest = j;
        if (smallest != i) {
            HuffmanCode t = list[i];
            list[i] = list[smallest];
            list[smallest] = t;
        }
    }
}

// Replaces an AC code list by a 256-entry table indexed by the run/size symbol.
[[nodiscard]] int32_t makeDirectAcTable(HuffmanSlot& slot) {
    auto* direct = static_cast<HuffmanCode*>(complibAllocMemory(256 * sizeof(HuffmanCode)));
    if (!direct) return -1;
    // Entry 0xFF is left as allocated: run 15 with size 15 never occurs in
    // baseline data (sizes stop at 10), so nothing reads it.
    for (int s = 0; s < 255; ++s) direct[s].length = 0;
    for (uint32_t i = 0; i < slot.symbolCount; ++i) direct[slot.codeTable[i].symbol] = slot.codeTable[i];
    (void)complibFreeMemory(slot.codeTable);
    slot.codeTable = direct;
    return 0;
}

[[nodiscard]] int32_t buildHuffmanTables(JpegContext* context) {
    EncoderState& enc = context->enc;
    for (int c = 0; c < 2; ++c) {
        for (int t = 0; t < 2; ++t) {
            int index = 2 * c + t;
            const StandardHuffmanTable& source = kStandardHuffmanTables[index];
            HuffmanDefinition& def = enc.huffmanSpecs[index];
            std::memcpy(def.bits, source.bits, 16);
            uint32_t count = 0;
            for (uint8_t b : source.bits) count += b;
            std::memcpy(def.huffval, source.huffval, count);
            def.tableByte = static_cast<uint8_t>((c << 4) | t);
            enc.huffmanSymbolCounts[index] = count;
            if (complibBuildHuffmanCodeTable(context, &def, count) != 0) return -1;
        }
    }
    for (int t = 0; t < 2; ++t) {
        HuffmanSlot& dc = context->huffman[kDcSlot + t];
        sortBySymbol(dc.codeTable, dc.symbolCount);
    }
    for (int t = 0; t < 2; ++t)
        if (makeDirectAcTable(context->huffman[kAcSlot + t]) != 0) return -1;
    return 0;
}

void setUpFrame(JpegContext* context, const JpegEncodeParams* params) {
    EncoderState& enc = context->enc;
    FrameHeader& frame = context->frame;
    uint32_t n = params->componentCount;
    frame.sofMarker = 0xFFC0;
    frame.precision = 8;
    frame.lines = params->height;
    frame.samplesPerLine = params->width;
    frame.componentCount = static_cast<uint8_t>(n);
    enc.componentCount = n;
    enc.scanComponentCount = static_cast<uint8_t>(n);
    for (uint32_t i = 0; i < n && i < 4; ++i) frame.components[i].quantTable = i == 0 ? 0 : 1;
    enc.restartInterval = params->restartInterval;
}

// Blocks per MCU and the running maxima for one component's sampling byte.
void accountSampling(EncoderState& enc, ComponentRecord& record, uint8_t s) {
    switch (s) {
        case 0x22: record.blocksInMcu = 4; enc.maxH = 2; enc.maxV = 2; break;
        case 0x21: record.blocksInMcu = 2; enc.maxH = 2; if (enc.maxV < 1) enc.maxV = 1; break;
        case 0x12: record.blocksInMcu = 2; if (enc.maxH != 2) enc.maxH = 1; enc.maxV = 2; break;
        case 0x11: record.blocksInMcu = 1; if (enc.maxH <= 1) enc.maxH = 1; if (enc.maxV < 1) enc.maxV = 1; break;
        default: break;  // unsupported: rejected by the prolog
    }
}

void setUpComponentsAndScan(JpegContext* context, const JpegEncodeParams* params) {
    EncoderState& enc = context->enc;
    FrameHeader& frame = context->frame;
    uint32_t n = enc.componentCount;
    for (uint32_t i = 1; i <= n && i <= 4; ++i) {
        uint8_t s = samplingByte(params->samplingFactors, n, i);
        FrameHeaderComponent& fc = frame.components[i - 1];
        fc.identifier = static_cast<uint8_t>(i);
        fc.horizontalSampling = static_cast<uint8_t>(s >> 4);
        fc.verticalSampling = static_cast<uint8_t>(s & 15);
        enc.samplingSignature = (enc.samplingSignature << 8) | s;
        context->components[i - 1].sampling = s;
        accountSampling(enc, context->components[i - 1], s);
        enc.scanComponents[i - 1].identifier = static_cast<uint8_t>(i);
        enc.scanComponents[i - 1].tableSelectors = i == 1 ? 0x00 : 0x11;
    }
    enc.mcuWidth = 8 * enc.maxH;
    enc.mcuHeight = 8 * enc.maxV;
    enc.mcusPerColumn = enc.mcuHeight ? (frame.lines + enc.mcuHeight - 1) / enc.mcuHeight : 0;
    enc.mcusPerRow = enc.mcuWidth ? (frame.samplesPerLine + enc.mcuWidth - 1) / enc.mcuWidth : 0;
    enc.sofLength = static_cast<uint16_t>(3 * n + 8);
    enc.spectralStart = 0;
    enc.spectralEnd = 63;
    enc.approximation = 0;
    enc.sosLength = static_cast<uint16_t>((n + 3) * 2);
}

}  // namespace

uint32_t qualityScale(uint32_t quality) {
    if (quality == 0) return kScaleForQualityZero;
    if (quality > 100) return 0;
    if (quality < 50) return 5000 / quality;
    return 200 - 2 * quality;
}

uint32_t scaleQuantEntry(uint32_t base, uint32_t scale) {
    uint32_t v = (scale * base + 50) / 100;
    if (v == 0) return 1;
    return v >= 255 ? 255 : v;
}

bool samplingSupported(const JpegEncodeParams* params) {
    uint32_t n = params->componentCount;
    if (n < 1 || n > 4) return false;
    for (uint32_t i = 1; i <= n; ++i)
        if (!isCodedSampling(samplingByte(params->samplingFactors, n, i))) return false;
    return true;
}

void jpegEncodeSetupQuantTables(JpegContext* context, uint32_t quality) {
    uint32_t scale = qualityScale(quality & 0xFFFF);
    bool fine = (context->options & JPEG_OPT_FINE_TABLES) != 0;
    for (int t = 0; t < 2; ++t)
        for (int k = 0; k < 64; ++k)
            context->quantTables[t][k] =
                static_cast<int32_t>(fine ? kFineQuantTables[t].v[k] : scaleQuantEntry(kBaseQuantTables[t].v[k], scale));
    context->enc.quantTableCount = 2;
    context->enc.quantPrecision = 0;
    // The forward DCT leaves 8x the coefficients, so each divisor carries the 8.
    for (uint32_t i = 0; i < context->enc.componentCount && i < 4; ++i) {
        const int32_t* table = context->quantTables[context->frame.components[i].quantTable];
        for (int k = 0; k < 64; ++k) context->components[i].quant[k] = 8 * table[k];
    }
}

int32_t jpegEncodeBuildTables(JpegContext* context, const JpegEncodeParams* params) {
    if (buildHuffmanTables(context) != 0) return -1;
    setUpFrame(context, params);
    jpegEncodeSetupQuantTables(context, params->quality);
    setUpComponentsAndScan(context, params);
    return 0;
}

}  // namespace encoder
