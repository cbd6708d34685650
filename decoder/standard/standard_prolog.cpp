// Standard mode: opening a decode. The whole stream is loaded so that a
// height given by DNL can be read ahead and multi-scan frames decoded whole;
// the headers up to the first scan are parsed here, the component planes
// allocated, and the frame reported to the caller as the prolog always does.
#include <cstring>

#include "context/jpeg_constants.h"
#include "context/jpeg_context.h"
#include "decoder/standard/standard_decode.h"
#include "runtime/bitstream_file.h"
#include "runtime/heap.h"
#include "runtime/limits.h"
#include "runtime/report.h"

namespace {

constexpr uint64_t kMaxStandardBytes = uint64_t{1} << 30;  // refuse frames that would need more
constexpr uint32_t kLoadStep = 1u << 16;

// The stream as one block: the caller's own in memory mode (it stays valid
// until the epilog), a copy of the file otherwise.
[[nodiscard]] bool loadStream(StandardDecode* sd, BitstreamFile* bf) {
    if (bf->flags & kBitstreamMemory) {
        sd->data = bf->memCursor;
        sd->length = bf->memLength - bf->memPosition;
        return true;
    }
    uint32_t capacity = 0;
    for (;;) {
        if (capacity - sd->length < kLoadStep) {
            if (uint64_t{capacity} + kLoadStep > kMaxStandardBytes) return false;
            void* grown = complibReallocMemory(sd->fileCopy, capacity + kLoadStep);
            if (!grown) return false;
            sd->fileCopy = static_cast<uint8_t*>(grown);
            sd->data = sd->fileCopy;
            capacity += kLoadStep;
        }
        int32_t n = complibReadBitstreamFile(bf, sd->fileCopy + sd->length, capacity - sd->length);
        if (n <= 0) return true;
        sd->length += static_cast<uint32_t>(n);
    }
}

void* allocateZeroed(uint64_t bytes) {
    if (bytes > kMaxStandardBytes) return nullptr;
    void* block = complibAllocMemory(static_cast<size_t>(bytes == 0 ? 1 : bytes));
    if (block) std::memset(block, 0, static_cast<size_t>(bytes));
    return block;
}

uint32_t divideUp(uint64_t a, uint64_t b) { return static_cast<uint32_t>((a + b - 1) / b); }

// Component sizes and block grids, once the height is known.
void computeGeometry(StandardDecode* sd) {
    const uint32_t unit = sd->sofMarker == markerWord(kSof3) ? 1 : 8;
    sd->mcusPerRow = divideUp(sd->width, uint64_t{unit} * sd->maxH);
    sd->mcuRows = divideUp(sd->height, uint64_t{unit} * sd->maxV);
    for (uint32_t c = 0; c < sd->componentCount; ++c) {
        StandardComponent& component = sd->components[c];
        component.width = divideUp(uint64_t{sd->width} * component.h, sd->maxH);
        component.height = divideUp(uint64_t{sd->height} * component.v, sd->maxV);
        component.blocksWide = sd->mcusPerRow * component.h;
        component.blocksHigh = sd->mcuRows * component.v;
        component.planeWidth = component.blocksWide * unit;
        component.planeHeight = component.blocksHigh * unit;
    }
}

// The whole-frame route's planes: every coefficient and sample of the frame.
// Frames whose bands are rendered from the coefficients need no sample planes.
const KelChar16* allocatePlanes(StandardDecode* sd, bool samplePlanes) {
    const bool lossless = sd->sofMarker == markerWord(kSof3);
    const uint64_t bytesPerSample = (samplePlanes ? 2 : 0) + (lossless ? 0 : 2);
    uint64_t total = 0;  // all planes together stay within the one limit
    for (uint32_t c = 0; c < sd->componentCount; ++c) {
        StandardComponent& component = sd->components[c];
        uint64_t samples = uint64_t{component.planeWidth} * component.planeHeight;
        total += samples * bytesPerSample;
        if (total > kMaxStandardBytes) return report_text::kStandardModePlaneAllocationFailed;
        // The planes count against the host's memory limit.
        if (!reserveContextMemory(&sd->heldBytes, samples * bytesPerSample))
            return report_text::kStandardModePlaneAllocationFailed;
        if (samplePlanes) {
            component.samples = static_cast<uint16_t*>(allocateZeroed(samples * 2));
            if (!component.samples) return report_text::kStandardModePlaneAllocationFailed;
        }
        if (!lossless) {
            component.coefficients = static_cast<int16_t*>(allocateZeroed(samples * 2));
            if (!component.coefficients) return report_text::kStandardModePlaneAllocationFailed;
        }
    }
    return nullptr;
}

// What the legacy prolog leaves in the context for the queries and the bitmap
// entry points: frame header, geometry, JFIF densities.
void fillContext(JpegContext* context, const StandardDecode* sd) {
    FrameHeader& frame = context->frame;
    DecoderState& dec = context->dec;
    frame.sofMarker = sd->sofMarker;
    frame.lines = static_cast<uint16_t>(sd->height);
    frame.samplesPerLine = static_cast<uint16_t>(sd->width);
    frame.precision = static_cast<uint8_t>(sd->precision);
    frame.componentCount = static_cast<uint8_t>(sd->componentCount);
    dec.samplingSignature = 0;
    for (uint32_t c = 0; c < sd->componentCount; ++c) {
        const StandardComponent& component = sd->components[c];
        frame.components[c] = {component.identifier, component.h, component.v, component.quantTable};
        dec.samplingSignature = (dec.samplingSignature << 8) | uint32_t(component.h << 4 | component.v);
    }
    dec.imageWidth = sd->width;
    dec.imageHeight = sd->height;
    dec.componentCount = sd->componentCount;
    dec.maxH = sd->maxH;
    dec.maxV = sd->maxV;
    dec.mcuWidth = 8 * sd->maxH;
    dec.mcuHeight = 8 * sd->maxV;
    dec.mcusPerRow = sd->mcusPerRow;
    dec.mcuRows = sd->mcuRows;
    dec.restartInterval = sd->restartInterval;
    dec.densityUnits = sd->jfifUnits;
    dec.xDensity = sd->jfifXDensity;
    dec.yDensity = sd->jfifYDensity;
    dec.thumbnailWidth = sd->thumbnailWidth;
    dec.thumbnailHeight = sd->thumbnailHeight;
    dec.currentScale = -1;
    dec.lastMarker = 0;
}

// The JFIF block of the caller, thumbnail included as far as the segment holds it.
void copyJfifInfo(const StandardDecode* sd, JpegDecodeParams* params) {
    if (!(params->options & JPEG_OPT_JFIF) || !params->jfifInfo || !sd->jfif) return;
    JfifInfo* info = params->jfifInfo;
    info->xDensity = sd->jfifXDensity;
    info->yDensity = sd->jfifYDensity;
    info->units = sd->jfifUnits;
    info->thumbnailWidth = sd->thumbnailWidth;
    info->thumbnailHeight = sd->thumbnailHeight;
    uint32_t bytes = 3u * sd->thumbnailWidth * sd->thumbnailHeight;
    if (bytes > sd->thumbnailBytes) bytes = sd->thumbnailBytes;
    if (bytes) std::memcpy(info->thumbnail, sd->thumbnail, bytes);
}

void writeBack(const JpegContext* context, const StandardDecode* sd, JpegDecodeParams* params) {
    const DecoderState& dec = context->dec;
    params->samplingSignature = dec.samplingSignature;
    params->width = static_cast<uint16_t>(sd->width);
    params->height = static_cast<uint16_t>(sd->height);
    params->restartInterval = static_cast<uint16_t>(sd->restartInterval);
    params->componentCount = static_cast<uint16_t>(sd->componentCount);
    if (sd->sofMarker == markerWord(kSof2)) params->options = static_cast<uint16_t>(params->options | JPEG_OPT_PROGRESSIVE);
}

}  // namespace

const KelChar16* openStandardDecode(JpegContext* context, JpegDecodeParams* params) {
    // The whole stream is read at once: pieces fed later have no place here.
    if (params->options & JPEG_OPT_PARTIAL_BITSTREAM) return report_text::kIllegalOptions;
    auto* sd = static_cast<StandardDecode*>(allocateZeroed(sizeof(StandardDecode)));
    if (!sd) return report_text::kPrologFailed;
    context->dec.standard = sd;
    sd->adobeTransform = -1;
    sd->scale = 3;
    sd->strict = (params->options & JPEG_OPT_STRICT) != 0;
    for (StandardCoverage& coverage : sd->coverage) std::memset(coverage.knownBits, kNeverCoded, sizeof coverage.knownBits);
    if (!loadStream(sd, context->bitstream)) return report_text::kNoSuchFileOrDirectory;
    if (sd->length < 2 || sd->data[0] != 0xFF || sd->data[1] != kSoi) {
        reportJpegError(report_text::kNotAJpegFileNoSoiMarkerAtTheStart);
        return report_text::kFrameLevelParseFailed;
    }
    sd->position = 2;
    if (!readStandardHeaders(sd, false)) return report_text::kFrameLevelParseFailed;
    if (!sd->scanReady) {
        reportJpegError(report_text::kNoScanInTheFrame);
        return report_text::kFrameLevelParseFailed;
    }
    if (sd->height == 0) sd->height = findStandardDnlHeight(sd);
    if (sd->height == 0) {
        reportJpegError(report_text::kTheImageHasNoHeight);
        return report_text::kFrameLevelParseFailed;
    }
    if (!framePixelsAllowed(sd->width, sd->height)) {
        reportJpegError(report_text::kImageExceedsThePixelLimit);
        return report_text::kFrameLevelParseFailed;
    }
    computeGeometry(sd);
    context->params = params;
    fillContext(context, sd);
    if (!openStandardStream(context, sd)) return report_text::kStandardModePlaneAllocationFailed;
    // A frame streamed from its one scan knows now whether the data ends
    // without EOI; data cut inside the scan shows as the bands reach it.
    if (sd->stream && !standardStreamFromCoefficients(sd) && nextPlausibleMarker(sd, sd->position) >= sd->length &&
        !noteStandardDamage(sd, JPEG_DAMAGE_TRUNCATED))
        return report_text::kFrameLevelParseFailed;
    // Interleaved sequential frames need no planes; other banded frames keep
    // their coefficients; the rest are rendered into sample planes.
    if (!sd->stream || standardStreamFromCoefficients(sd))
        if (const KelChar16* failure = allocatePlanes(sd, !sd->stream)) return failure;
    copyJfifInfo(sd, params);
    writeBack(context, sd, params);
    if (sd->sofMarker == markerWord(kSof2)) context->dec.progressiveMode = 0;
    return nullptr;
}

void releaseStandardDecode(JpegContext* context) {
    StandardDecode* sd = context->dec.standard;
    if (!sd) return;
    releaseStandardStream(context);
    for (StandardComponent& component : sd->components) {
        if (component.samples) (void)complibFreeMemory(component.samples);
        if (component.coefficients) (void)complibFreeMemory(component.coefficients);
    }
    if (sd->fileCopy) (void)complibFreeMemory(sd->fileCopy);
    (void)complibFreeMemory(sd);
    context->dec.standard = nullptr;
}
