// Every text the library puts in a report: the severity words, the source
// tags and the messages, exactly as hosts have always received them (a host
// may match on them, so they never change). Code reports through these names;
// a name spells out its text. The catalogue is one list, KJ_REPORT_TEXTS(X)
// calling X(name, text) for every entry, from which the constants are made
// and which the manifest program prints whole.
#pragma once

#include "KelJPEG.h"

// UTF-16 literals: KJ_TEXT("Prolog failed.").
#if defined(_WIN32)
#define KJ_TEXT(s) L##s
#else
#define KJ_TEXT(s) u##s
#endif

// Severity words that open the composed line.
#define KJ_REPORT_SEVERITIES(X) \
    X(kError, "ERROR") \
    X(kFatal, "FATAL") \
    X(kTrace, "TRACE") \
    X(kWarning, "WARNING")

// Source tags: the routine or layer that reports.
#define KJ_REPORT_SOURCES(X) \
    X(kCompl, "COMPL") \
    X(kComplibAllocImageRect, "complibAllocImageRect") \
    X(kComplibAppendBitstreamFile, "complibAppendBitstreamFile") \
    X(kComplibConvertWinTWAINToRect, "complibConvertWinTWAINToRect") \
    X(kComplibCreateBitstreamFile, "complibCreateBitstreamFile") \
    X(kComplibCreateWinDIBits, "complibCreateWinDIBits") \
    X(kComplibDupBitstreamFile, "complibDupBitstreamFile") \
    X(kComplibGetDIBitsFromRect, "complibGetDIBitsFromRect") \
    X(kComplibOpenBitstreamFile, "complibOpenBitstreamFile") \
    X(kComplibSetDIBitsToRect, "complibSetDIBitsToRect") \
    X(kComplibWriteBitstreamFile, "complibWriteBitstreamFile") \
    X(kJpeg, "JPEG") \
    X(kReadBitstreamData, "readBitstreamData")

// The legacy decoder's terse texts for a failing block or MCU.
#define KJ_REPORT_UNIT_TEXTS(X) \
    X(kAc, "AC") \
    X(kAcBase, "AC-Base") \
    X(kAcDiff, "AC-Diff") \
    X(kDc, "DC") \
    X(kDcBase, "DC-Base") \
    X(kUnitEquals0, "Unit = 0") \
    X(kUnitNo, "UnitNo")

// Messages.
#define KJ_REPORT_MESSAGES(X) \
    X(kArithmeticCodingNotSupported, "arithmetic coding not supported") \
    X(kComplibAllocImageRectFailed, "complibAllocImageRect () failed.") \
    X(kComplibAllocMemoryCallFailed, "complibAllocMemory () failed") \
    X(kComplibAllocMemoryFailed, "complibAllocMemory failed") \
    X(kComplibSetDIBitsToRectFailed, "complibSetDIBitsToRect failed.") \
    X(kCorruptEntropyCodedData, "corrupt entropy-coded data") \
    X(kExtraneousBytesBeforeMarker, "extraneous bytes before marker") \
    X(kExtraneousBytesBeforeSoiMarker, "extraneous bytes before SOI marker") \
    X(kFileCreateError, "file create error") \
    X(kFileOpenError, "file open error") \
    X(kFoundUnexpectedEndOfJpegFile, "found unexpected end of JPEG file") \
    X(kFoundUnexpectedEof, "found unexpected EOF") \
    X(kFrameLevelParseFailed, "Frame Level parse failed.") \
    X(kGlobalAllocFailed, "GlobalAlloc failed") \
    X(kGlobalLockFailedInJpegProlog, "GlobalLock failed in jpegProlog") \
    X(kGlobalReallocFailed, "GlobalRealloc failed") \
    X(kHeapFreeFailed, "HeapFree () failed.") \
    X(kHuffmanTableMissingForTheScan, "Huffman table missing for the scan") \
    X(kHuffmanDecodeTableAllocationFailed, "Huffman-Decode Table Allocation failed.") \
    X(kHuffmanEncodeTableAllocationFailed, "Huffman-Encode Table Allocation failed.") \
    X(kIllegalOptions, "Illegal options") \
    X(kIllegalOptionsParameter, "Illegal options parameter") \
    X(kIllegalSOFxCodeInJpegDecodeInitializeDecVLCTable, "illegal SOFx code in jpegDecodeInitializeDecVLCTable ()") \
    X(kIllegalSosMarkerCode, "Illegal SOS Marker code.") \
    X(kImageExceedsThePixelLimit, "image exceeds the pixel limit") \
    X(kInitializeVlcTableFailed, "Initialize VLC Table failed.") \
    X(kInvalidDhtSegmentSyntax, "invalid DHT segment syntax") \
    X(kInvalidDnlSegmentSyntax, "invalid DNL segment syntax") \
    X(kInvalidDqtSegmentSyntax, "invalid DQT segment syntax") \
    X(kInvalidDriSegmentSyntax, "invalid DRI segment syntax") \
    X(kInvalidLosslessScanParameters, "invalid lossless scan parameters") \
    X(kInvalidMarkerSegmentLength, "invalid marker segment length") \
    X(kInvalidProgressiveScanParameters, "invalid progressive scan parameters") \
    X(kInvalidQuantizationTableNumber, "invalid quantization table number") \
    X(kInvalidSofSegmentSyntax, "invalid SOF segment syntax") \
    X(kInvalidSosSegmentSyntax, "invalid SOS segment syntax") \
    X(kJpegFileIsNotComplete, "JPEG file is NOT complete") \
    X(kJpegPrologFailedInJpegEncodeProlog, "jpegProlog failed in jpegEncodeProlog") \
    X(kLocalAllocFailed, "LocalAlloc failed") \
    X(kLocallockFailed, "Locallock failed") \
    X(kMcuBlocksMemoryAllocationFailed, "mcu_blocks memory allocation failed.") \
    X(kMcuXYBlocksAllocationFailed, "mcu_XYBlocks allocation failed.") \
    X(kMcuXYBlocksInxMemoryAllocationFailed, "mcu_XYBlocksInx memory allocation failed.") \
    X(kMemoryAllocationFailed, "Memory allocation failed.") \
    X(kMoreThanOneFrame, "more than one frame") \
    X(kNoEffectDnlSegment, "no effect DNL segment") \
    X(kNoFrameHeader, "no frame header") \
    X(kNoScanInTheFrame, "no scan in the frame") \
    X(kNoSuchFileOrDirectory, "no such file or directory") \
    X(kNotAJpegFileNoSoiMarkerAtTheStart, "not a JPEG file: no SOI marker at the start") \
    X(kNotBiRgb, "not BI_RGB.") \
    X(kNotSupportImageComponents, "not support image components") \
    X(kPrematureEndOfData, "premature end of data") \
    X(kPrologFailed, "Prolog failed.") \
    X(kQuantizationTableMissingForTheScan, "quantization table missing for the scan") \
    X(kReadFailed, "read failed") \
    X(kReadFailedStop, "read failed.") \
    X(kReadFailedReadEqualsEof, "Read failed: read () == EOF\n") \
    X(kScanBeforeTheFrameHeader, "scan before the frame header") \
    X(kSeekFailedCapitalised, "Seek failed") \
    X(kSeekFailed, "seek failed") \
    X(kSeekFailedStop, "seek failed.") \
    X(kSpatialPrevLineMemoryAllocationFailed, "spatialPrevLine memory allocation failed.") \
    X(kStandardModePlaneAllocationFailed, "standard-mode plane allocation failed.") \
    X(kTablesCreateFailedInJpegEncodeProlog, "Tables Create failed in jpegEncodeProlog") \
    X(kTheImageHasNoHeight, "the image has no height") \
    X(kTheImageHasNoWidth, "the image has no width") \
    X(kTooManyScans, "too many scans") \
    X(kUndefinedBiBitCountInDib, "undefined biBitCount in DIB") \
    X(kUnexpectedMarkerInEntropyCodedData, "unexpected marker in entropy-coded data") \
    X(kUnsupportedSamplePrecision, "unsupported sample precision") \
    X(kUnsupportedSamplingFactor, "unsupported sampling factor") \
    X(kUnsupportedSamplingFactors, "Unsupported sampling factors") \
    X(kUnsupportedSofCodingMode, "unsupported SOF coding mode") \
    X(kWriteFailed, "write failed.")

#define KJ_REPORT_TEXTS(X) KJ_REPORT_SEVERITIES(X) KJ_REPORT_SOURCES(X) KJ_REPORT_UNIT_TEXTS(X) KJ_REPORT_MESSAGES(X)

namespace report_text {

#define KJ_REPORT_TEXT_CONSTANT(name, text) inline constexpr const KelChar16* name = KJ_TEXT(text);
KJ_REPORT_TEXTS(KJ_REPORT_TEXT_CONSTANT)
#undef KJ_REPORT_TEXT_CONSTANT

}  // namespace report_text
