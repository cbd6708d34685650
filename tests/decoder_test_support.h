// A small writer of DC-only baseline JPEG streams for the decoder tests. Every
// block carries only a DC value; with quantisation table entries of 1 a DC of
// 8v decodes to the flat sample v (stored as v + 128), so expected pixels are
// known exactly. Restart intervals, DNL, APPn/COM segments and any sampling
// are available; the Huffman tables are small hand-made ones.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

#include "KelJPEG.h"

namespace decoder_testing {

struct MiniComponent {
    uint8_t id;
    uint8_t sampling;  // H*16+V
};

struct MiniJpeg {
    uint16_t width = 8;
    uint16_t height = 8;
    std::vector<MiniComponent> components = std::vector<MiniComponent>(1, MiniComponent{1, 0x11});
    uint16_t restartInterval = 0;
    bool heightInDnl = false;       // SOF says 0 lines; a DNL after the scan says height
    bool omitEoi = false;
    std::vector<uint8_t> extraSegments;  // inserted after SOI (APPn, COM ...)
    // Sample value (-128..127) of block (component, mcu, block within the component's MCU blocks).
    std::function<int(int component, uint32_t mcu, int block)> sample = [](int, uint32_t, int) { return 0; };
};

class BitWriter {
public:
    void put(uint32_t value, int count) {
        for (int i = count - 1; i >= 0; --i) {
            acc_ = static_cast<uint8_t>((acc_ << 1) | ((value >> i) & 1));
            if (++bits_ == 8) flushByte();
        }
    }
    // Pads the last byte with 1 bits, as encoders do before a marker.
    void align() {
        while (bits_ != 0) put(1, 1);
    }
    std::vector<uint8_t>& bytes() { return out_; }

private:
    void flushByte() {
        out_.push_back(acc_);
        if (acc_ == 0xFF) out_.push_back(0x00);
        acc_ = 0;
        bits_ = 0;
    }
    std::vector<uint8_t> out_;
    uint8_t acc_ = 0;
    int bits_ = 0;
};

inline void put16(std::vector<uint8_t>& out, uint32_t v) {
    out.push_back(static_cast<uint8_t>(v >> 8));
    out.push_back(static_cast<uint8_t>(v));
}

// DC table 0: symbols 0..11, each a 4-bit code equal to the symbol.
// AC table 0: 00 = EOB, 01 = ZRL, 10 = run 0 size 1 (11 is left unused).
inline void appendTables(std::vector<uint8_t>& out) {
    out.insert(out.end(), {0xFF, 0xDB});
    put16(out, 2 + 65);
    out.push_back(0x00);
    for (int i = 0; i < 64; ++i) out.push_back(1);
    out.insert(out.end(), {0xFF, 0xC4});
    put16(out, 2 + 17 + 12 + 17 + 3);
    out.push_back(0x00);
    for (int l = 1; l <= 16; ++l) out.push_back(l == 4 ? 12 : 0);
    for (int s = 0; s < 12; ++s) out.push_back(static_cast<uint8_t>(s));
    out.push_back(0x10);
    for (int l = 1; l <= 16; ++l) out.push_back(l == 2 ? 3 : 0);
    out.insert(out.end(), {0x00, 0xF0, 0x01});
}

inline int blocksOf(uint8_t sampling) { return (sampling >> 4) * (sampling & 15); }

inline void putDc(BitWriter& bits, int diff) {
    int magnitude = diff < 0 ? -diff : diff;
    int s = 0;
    while ((1 << s) <= magnitude) ++s;
    bits.put(static_cast<uint32_t>(s), 4);
    if (s) bits.put(static_cast<uint32_t>(diff < 0 ? diff + (1 << s) - 1 : diff), s);
}

inline std::vector<uint8_t> buildMiniJpeg(const MiniJpeg& spec) {
    std::vector<uint8_t> out = {0xFF, 0xD8};
    for (uint8_t byte : spec.extraSegments) out.push_back(byte);
    appendTables(out);
    if (spec.restartInterval) {
        out.insert(out.end(), {0xFF, 0xDD, 0x00, 0x04});
        put16(out, spec.restartInterval);
    }
    int maxH = 1, maxV = 1;
    for (auto c : spec.components) {
        maxH = std::max(maxH, c.sampling >> 4);
        maxV = std::max(maxV, c.sampling & 15);
    }
    out.insert(out.end(), {0xFF, 0xC0});
    put16(out, 8 + 3 * spec.components.size());
    out.push_back(8);
    put16(out, spec.heightInDnl ? 0 : spec.height);
    put16(out, spec.width);
    out.push_back(static_cast<uint8_t>(spec.components.size()));
    for (auto c : spec.components) out.insert(out.end(), {c.id, c.sampling, 0});
    out.insert(out.end(), {0xFF, 0xDA});
    put16(out, 6 + 2 * spec.components.size());
    out.push_back(static_cast<uint8_t>(spec.components.size()));
    for (auto c : spec.components) out.insert(out.end(), {c.id, 0x00});
    out.insert(out.end(), {0, 63, 0});

    uint32_t mcus = ((spec.width + 8 * maxH - 1) / (8 * maxH)) * ((spec.height + 8 * maxV - 1) / (8 * maxV));
    BitWriter bits;
    std::vector<int> predictor(spec.components.size(), 0);
    for (uint32_t m = 0; m < mcus; ++m) {
        if (spec.restartInterval && m > 0 && m % spec.restartInterval == 0) {
            bits.align();
            bits.bytes().insert(bits.bytes().end(), {0xFF, static_cast<uint8_t>(0xD0 + (m / spec.restartInterval - 1) % 8)});
            std::fill(predictor.begin(), predictor.end(), 0);
        }
        for (size_t c = 0; c < spec.components.size(); ++c) {
            for (int b = 0; b < blocksOf(spec.components[c].sampling); ++b) {
                int dc = 8 * spec.sample(static_cast<int>(c), m, b);
                putDc(bits, dc - predictor[c]);
                predictor[c] = dc;
                bits.put(0, 2);  // EOB
            }
        }
    }
    bits.align();
    out.insert(out.end(), bits.bytes().begin(), bits.bytes().end());
    if (spec.heightInDnl) {
        out.insert(out.end(), {0xFF, 0xDC, 0x00, 0x04});
        put16(out, spec.height);
    }
    if (!spec.omitEoi) out.insert(out.end(), {0xFF, 0xD9});
    return out;
}

}  // namespace decoder_testing
