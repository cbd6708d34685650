// Every text the library puts in a report: the severity words, the source
// tags and the messages, exactly as hosts have always received them (a host
// may match on them, so they never change). Code reports through these names;
// a name spells out its text.
#pragma once

#include "KelJPEG.h"

// UTF-16 literals: KJ_TEXT("Prolog failed.").
#if defined(_WIN32)
#define KJ_TEXT(s) L##s
#else
#define KJ_TEXT(s) u##s
#endif

namespace report_text {

// Severity words that open the composed line.
inline constexpr const KelChar16* kError = KJ_TEXT("ERROR");
inline constexpr const KelChar16* kFatal = KJ_TEXT("FATAL");
inline constexpr const KelChar16* kTrace = KJ_TEXT("TRACE");
inline constexpr const KelChar16* kWarning = KJ_TEXT("WARNING");

// Source tags: the routine or layer that reports.
inline constexpr const KelChar16* kCompl = KJ_TEXT("COMPL");
inline constexpr const KelChar16* kComplibAllocImageRect = KJ_TEXT("complibAllocImageRect");
inline constexpr const KelChar16* kComplibAppendBitstreamFile = KJ_TEXT("complibAppendBitstreamFile");
inline constexpr const KelChar16* kComplibConvertWinTWAINToRect = KJ_TEXT("complibConvertWinTWAINToRect");
inline constexpr const KelChar16* kComplibCreateBitstreamFile = KJ_TEXT("complibCreateBitstreamFile");
inline constexpr const KelChar16* kComplibCreateWinDIBits = KJ_TEXT("complibCreateWinDIBits");
inline constexpr const KelChar16* kComplibDupBitstreamFile = KJ_TEXT("complibDupBitstreamFile");
inline constexpr const KelChar16* kComplibGetDIBitsFromRect = KJ_TEXT("complibGetDIBitsFromRect");
inline constexpr const KelChar16* kComplibOpenBitstreamFile = KJ_TEXT("complibOpenBitstreamFile");
inline constexpr const KelChar16* kComplibSetDIBitsToRect = KJ_TEXT("complibSetDIBitsToRect");
inline constexpr const KelChar16* kComplibWriteBitstreamFile = KJ_TEXT("complibWriteBitstreamFile");
inline constexpr const KelChar16* kJpeg = KJ_TEXT("JPEG");
inline constexpr const KelChar16* kReadBitstreamData = KJ_TEXT("readBitstreamData");

// The legacy decoder's terse texts for a failing block or MCU.
inline constexpr const KelChar16* kAc = KJ_TEXT("AC");
inline constexpr const KelChar16* kAcBase = KJ_TEXT("AC-Base");
inline constexpr const KelChar16* kAcDiff = KJ_TEXT("AC-Diff");
inline constexpr const KelChar16* kDc = KJ_TEXT("DC");
inline constexpr const KelChar16* kDcBase = KJ_TEXT("DC-Base");
inline constexpr const KelChar16* kUnitEquals0 = KJ_TEXT("Unit = 0");
inline constexpr const KelChar16* kUnitNo = KJ_TEXT("UnitNo");

// Messages.
inline constexpr const KelChar16* kArithmeticCodingNotSupported = KJ_TEXT("arithmetic coding not supported");
inline constexpr const KelChar16* kComplibAllocImageRectFailed = KJ_TEXT("complibAllocImageRect () failed.");
inline constexpr const KelChar16* kComplibAllocMemoryCallFailed = KJ_TEXT("complibAllocMemory () failed");
inline constexpr const KelChar16* kComplibAllocMemoryFailed = KJ_TEXT("complibAllocMemory failed");
inline constexpr const KelChar16* kComplibSetDIBitsToRectFailed = KJ_TEXT("complibSetDIBitsToRect failed.");
inline constexpr const KelChar16* kCorruptEntropyCodedData = KJ_TEXT("corrupt entropy-coded data");
inline constexpr const KelChar16* kExtraneousBytesBeforeMarker = KJ_TEXT("extraneous bytes before marker");
inline constexpr const KelChar16* kExtraneousBytesBeforeSoiMarker = KJ_TEXT("extraneous bytes before SOI marker");
inline constexpr const KelChar16* kFileCreateError = KJ_TEXT("file create error");
inline constexpr const KelChar16* kFileOpenError = KJ_TEXT("file open error");
inline constexpr const KelChar16* kFoundUnexpectedEndOfJpegFile = KJ_TEXT("found unexpected end of JPEG file");
inline constexpr const KelChar16* kFoundUnexpectedEof = KJ_TEXT("found unexpected EOF");
inline constexpr const KelChar16* kFrameLevelParseFailed = KJ_TEXT("Frame Level parse failed.");
inline constexpr const KelChar16* kGlobalAllocFailed = KJ_TEXT("GlobalAlloc failed");
inline constexpr const KelChar16* kGlobalLockFailedInJpegProlog = KJ_TEXT("GlobalLock failed in jpegProlog");
inline constexpr const KelChar16* kGlobalReallocFailed = KJ_TEXT("GlobalRealloc failed");
inline constexpr const KelChar16* kHeapFreeFailed = KJ_TEXT("HeapFree () failed.");
inline constexpr const KelChar16* kHuffmanTableMissingForTheScan = KJ_TEXT("Huffman table missing for the scan");
inline constexpr const KelChar16* kHuffmanDecodeTableAllocationFailed = KJ_TEXT("Huffman-Decode Table Allocation failed.");
inline constexpr const KelChar16* kHuffmanEncodeTableAllocationFailed = KJ_TEXT("Huffman-Encode Table Allocation failed.");
inline constexpr const KelChar16* kIllegalOptions = KJ_TEXT("Illegal options");
inline constexpr const KelChar16* kIllegalOptionsParameter = KJ_TEXT("Illegal options parameter");
inline constexpr const KelChar16* kIllegalSOFxCodeInJpegDecodeInitializeDecVLCTable = KJ_TEXT("illegal SOFx code in jpegDecodeInitializeDecVLCTable ()");
inline constexpr const KelChar16* kIllegalSosMarkerCode = KJ_TEXT("Illegal SOS Marker code.");
inline constexpr const KelChar16* kImageExceedsThePixelLimit = KJ_TEXT("image exceeds the pixel limit");
inline constexpr const KelChar16* kInitializeVlcTableFailed = KJ_TEXT("Initialize VLC Table failed.");
inline constexpr const KelChar16* kInvalidDhtSegmentSyntax = KJ_TEXT("invalid DHT segment syntax");
inline constexpr const KelChar16* kInvalidDnlSegmentSyntax = KJ_TEXT("invalid DNL segment syntax");
inline constexpr const KelChar16* kInvalidDqtSegmentSyntax = KJ_TEXT("invalid DQT segment syntax");
inline constexpr const KelChar16* kInvalidDriSegmentSyntax = KJ_TEXT("invalid DRI segment syntax");
inline constexpr const KelChar16* kInvalidLosslessScanParameters = KJ_TEXT("invalid lossless scan parameters");
inline constexpr const KelChar16* kInvalidMarkerSegmentLength = KJ_TEXT("invalid marker segment length");
inline constexpr const KelChar16* kInvalidProgressiveScanParameters = KJ_TEXT("invalid progressive scan parameters");
inline constexpr const KelChar16* kInvalidQuantizationTableNumber = KJ_TEXT("invalid quantization table number");
inline constexpr const KelChar16* kInvalidSofSegmentSyntax = KJ_TEXT("invalid SOF segment syntax");
inline constexpr const KelChar16* kInvalidSosSegmentSyntax = KJ_TEXT("invalid SOS segment syntax");
inline constexpr const KelChar16* kJpegFileIsNotComplete = KJ_TEXT("JPEG file is NOT complete");
inline constexpr const KelChar16* kJpegPrologFailedInJpegEncodeProlog = KJ_TEXT("jpegProlog failed in jpegEncodeProlog");
inline constexpr const KelChar16* kLocalAllocFailed = KJ_TEXT("LocalAlloc failed");
inline constexpr const KelChar16* kLocallockFailed = KJ_TEXT("Locallock failed");
inline constexpr const KelChar16* kMcuBlocksMemoryAllocationFailed = KJ_TEXT("mcu_blocks memory allocation failed.");
inline constexpr const KelChar16* kMcuXYBlocksAllocationFailed = KJ_TEXT("mcu_XYBlocks allocation failed.");
inline constexpr const KelChar16* kMcuXYBlocksInxMemoryAllocationFailed = KJ_TEXT("mcu_XYBlocksInx memory allocation failed.");
inline constexpr const KelChar16* kMemoryAllocationFailed = KJ_TEXT("Memory allocation failed.");
inline constexpr const KelChar16* kMoreThanOneFrame = KJ_TEXT("more than one frame");
inline constexpr const KelChar16* kNoEffectDnlSegment = KJ_TEXT("no effect DNL segment");
inline constexpr const KelChar16* kNoFrameHeader = KJ_TEXT("no frame header");
inline constexpr const KelChar16* kNoScanInTheFrame = KJ_TEXT("no scan in the frame");
inline constexpr const KelChar16* kNoSuchFileOrDirectory = KJ_TEXT("no such file or directory");
inline constexpr const KelChar16* kNotAJpegFileNoSoiMarkerAtTheStart = KJ_TEXT("not a JPEG file: no SOI marker at the start");
inline constexpr const KelChar16* kNotBiRgb = KJ_TEXT("not BI_RGB.");
inline constexpr const KelChar16* kNotSupportImageComponents = KJ_TEXT("not support image components");
inline constexpr const KelChar16* kPrematureEndOfData = KJ_TEXT("premature end of data");
inline constexpr const KelChar16* kPrologFailed = KJ_TEXT("Prolog failed.");
inline constexpr const KelChar16* kQuantizationTableMissingForTheScan = KJ_TEXT("quantization table missing for the scan");
inline constexpr const KelChar16* kReadFailed = KJ_TEXT("read failed");
inline constexpr const KelChar16* kReadFailedStop = KJ_TEXT("read failed.");
inline constexpr const KelChar16* kReadFailedReadEqualsEof = KJ_TEXT("Read failed: read () == EOF\n");
inline constexpr const KelChar16* kScanBeforeTheFrameHeader = KJ_TEXT("scan before the frame header");
inline constexpr const KelChar16* kSeekFailedCapitalised = KJ_TEXT("Seek failed");
inline constexpr const KelChar16* kSeekFailed = KJ_TEXT("seek failed");
inline constexpr const KelChar16* kSeekFailedStop = KJ_TEXT("seek failed.");
inline constexpr const KelChar16* kSpatialPrevLineMemoryAllocationFailed = KJ_TEXT("spatialPrevLine memory allocation failed.");
inline constexpr const KelChar16* kStandardModePlaneAllocationFailed = KJ_TEXT("standard-mode plane allocation failed.");
inline constexpr const KelChar16* kTablesCreateFailedInJpegEncodeProlog = KJ_TEXT("Tables Create failed in jpegEncodeProlog");
inline constexpr const KelChar16* kTheImageHasNoHeight = KJ_TEXT("the image has no height");
inline constexpr const KelChar16* kTheImageHasNoWidth = KJ_TEXT("the image has no width");
inline constexpr const KelChar16* kTooManyScans = KJ_TEXT("too many scans");
inline constexpr const KelChar16* kUndefinedBiBitCountInDib = KJ_TEXT("undefined biBitCount in DIB");
inline constexpr const KelChar16* kUnexpectedMarkerInEntropyCodedData = KJ_TEXT("unexpected marker in entropy-coded data");
inline constexpr const KelChar16* kUnsupportedSamplePrecision = KJ_TEXT("unsupported sample precision");
inline constexpr const KelChar16* kUnsupportedSamplingFactor = KJ_TEXT("unsupported sampling factor");
inline constexpr const KelChar16* kUnsupportedSamplingFactors = KJ_TEXT("Unsupported sampling factors");
inline constexpr const KelChar16* kUnsupportedSofCodingMode = KJ_TEXT("unsupported SOF coding mode");
inline constexpr const KelChar16* kWriteFailed = KJ_TEXT("write failed.");

}  // namespace report_text
