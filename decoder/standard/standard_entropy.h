// Standard mode: the bit reader over the loaded stream and Huffman decoding.
// The reader never passes a marker: at 0xFF followed by anything but a
// stuffed 0x00 (after any further 0xFF) it stops and supplies zero bits, so that the data of a damaged
// segment cannot swallow the next restart marker or header.
#pragma once

#include <cstdint>

#include "context/jpeg_constants.h"
#include "decoder/standard/standard_decode.h"
#include "runtime/byte_order.h"

struct EntropyReader {
    const uint8_t* data;
    uint32_t length;
    uint32_t position;   // next byte to load
    uint64_t bits;       // unread bits, most significant first
    int32_t bitCount;
    bool atMarker;       // a marker (or the end of the data) stopped the loading
    int32_t padBits;     // zero bits supplied since then: more than bitCount once the decoder took some
};

inline void startEntropyReader(EntropyReader& r, const StandardDecode* sd) {
    r.data = sd->data;
    r.length = sd->length;
    r.position = sd->position;
    r.bits = 0;
    r.bitCount = 0;
    r.atMarker = false;
    r.padBits = 0;
}

inline void fillEntropyBits(EntropyReader& r) {
    // Whole bytes at once while eight of them hold no 0xFF: with 20 bits
    // buffered, the top 5 bytes of the word go in and 60 bits are held.
    if (!r.atMarker && r.bitCount <= 56 && r.length - r.position >= 8) {
        const uint64_t word = loadBigEndian64(r.data + r.position);
        if (!holdsByteFF(word)) {
            const uint32_t bytes = static_cast<uint32_t>(64 - r.bitCount) >> 3;
            const uint64_t taken = bytes == 8 ? word : word & ~(~uint64_t{0} >> (8 * bytes));
            r.bits |= taken >> r.bitCount;
            r.bitCount += static_cast<int32_t>(8 * bytes);
            r.position += bytes;
            return;
        }
    }
    while (r.bitCount <= 56) {
        uint32_t byte = 0;
        if (!r.atMarker) {
            if (r.position >= r.length) {
                r.atMarker = true;
            } else if (r.data[r.position] != 0xFF) {
                byte = r.data[r.position++];
            } else {
                // 0xFF: a data byte when 0x00 follows, also past repeated
                // 0xFF (damaged data; libjpeg-turbo reads it so too), else a marker.
                uint32_t next = r.position + 1;
                while (next < r.length && r.data[next] == 0xFF) ++next;
                if (next < r.length && r.data[next] == 0) {
                    byte = 0xFF;
                    r.position = next + 1;
                } else {
                    r.atMarker = true;
                }
            }
        }
        if (r.atMarker) r.padBits += 8;
        r.bits |= uint64_t{byte} << (56 - r.bitCount);
        r.bitCount += 8;
    }
}

inline uint32_t getEntropyBits(EntropyReader& r, uint32_t n) {
    if (n == 0) return 0;
    if (r.bitCount < static_cast<int32_t>(n)) fillEntropyBits(r);
    uint32_t value = static_cast<uint32_t>(r.bits >> (64 - n));
    r.bits <<= n;
    r.bitCount -= static_cast<int32_t>(n);
    return value;
}

// EXTEND for 1..16 bits: values below 2^(s-1) are negative.
inline int32_t extendBits(uint32_t v, uint32_t s) {
    return v < (1u << (s - 1)) ? static_cast<int32_t>(v) - static_cast<int32_t>((1u << s) - 1)
                               : static_cast<int32_t>(v);
}

// One Huffman symbol, or -1 for a code the table does not hold.
inline int32_t decodeEntropySymbol(EntropyReader& r, const StandardHuffman& table) {
    if (r.bitCount < 16) fillEntropyBits(r);
    uint32_t peek = static_cast<uint32_t>(r.bits >> 56);
    uint32_t length = table.fastLength[peek];
    if (length) {
        r.bits <<= length;
        r.bitCount -= static_cast<int32_t>(length);
        return table.fastSymbol[peek];
    }
    uint32_t window = static_cast<uint32_t>(r.bits >> 48);
    for (length = 9; length <= 16; ++length) {
        int32_t code = static_cast<int32_t>(window >> (16 - length));
        if (code <= table.maxCode[length]) {
            int32_t index = code + table.valueOffset[length];
            if (index < 0 || index > 255) return -1;
            r.bits <<= length;
            r.bitCount -= static_cast<int32_t>(length);
            return table.values[index];
        }
    }
    return -1;
}

// The decoder took bits beyond the data: the unit it decoded is not whole.
inline bool entropyOverran(const EntropyReader& r) { return r.bitCount < r.padBits; }

// Where one scan's decode stands against damage.
struct ScanDamage {
    uint32_t nextRestart;   // number (0..7) of the restart marker due next
    bool lost;              // the data of the current restart interval (the rest
                            // of the scan, without restart markers) is lost
    uint64_t firstLost;     // the scan's first lost unit; its unit count when none
    uint64_t lostEnd;       // the unit after the last lost stretch that the decode resumed behind
};

inline void startScanDamage(ScanDamage& damage, uint64_t units) { damage = {0, false, units, units}; }

// The units from the first lost one up to the end of the last lost stretch.
inline uint64_t lostStretchEnd(const ScanDamage& damage, uint64_t units) { return damage.lost ? units : damage.lostEnd; }

enum class UnitOutcome { Whole, Lost, Stop };

// A unit whose codes failed or whose data ran out: it is lost with the rest
// of its interval, and the damage is noted; Stop for strict reading.
UnitOutcome loseStandardUnit(StandardDecode* sd, const EntropyReader& r, ScanDamage& damage,
                             uint64_t unit);

// After a unit's decode (codesValid false for a code the tables do not
// hold): Whole when its data was there, else as loseStandardUnit.
inline UnitOutcome checkStandardUnit(StandardDecode* sd, const EntropyReader& r, bool codesValid, ScanDamage& damage,
                                     uint64_t unit) {
    if (codesValid && !entropyOverran(r)) return UnitOutcome::Whole;
    return loseStandardUnit(sd, r, damage, unit);
}

// At a restart point: the partial byte is dropped and the restart marker
// due is taken; damage.lost then says whether the next interval's data is
// there. A marker found straight after an interval decoded whole is taken
// whatever its number (the data is in step); after damage the numbers
// decide: a later interval's marker is left for its own restart point (the
// intervals before it are lost), an earlier one is passed over, and any
// other real marker ends the scan's data. Units lost from `unit` on count in
// damage.firstLost. false for strict reading.
[[nodiscard]] bool takeRestartMarker(StandardDecode* sd, EntropyReader& r, ScanDamage& damage, uint64_t unit);

// Where the header walk resumes after a scan: the reader has not passed the
// marker that ends the scan's data.
inline uint32_t entropyResumePosition(const EntropyReader& r) { return r.position; }
