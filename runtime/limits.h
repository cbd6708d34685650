// Resource limits a host sets for every operation of the process, and the
// checks the decoder makes against them. A limit that is hit ends the
// operation with a report and the operation's failure value.
#pragma once

#include <cstddef>
#include <cstdint>

#include "KelJPEG.h"

// The most scans a valid frame can carry: four components, each with a DC
// first scan, an AC first scan for every single coefficient, and thirteen
// refinement scans of each (successive approximation bits 13 .. 1).
constexpr uint32_t kDefaultMaxScans = 4 * (1 + 63) * 14;
constexpr uint64_t kDefaultMaxPixels = uint64_t{65535} * 65535;
constexpr uint64_t kDefaultMaxMemoryBytes = UINT64_MAX;

// The limits in force now, with the defaults filled in.
JpegLimits currentLimits();

// True when a frame of width x height pixels is within the pixel limit.
bool framePixelsAllowed(uint32_t width, uint32_t height);

// True when scanCount scans (the one just read included) are within the scan limit.
bool scanCountAllowed(uint32_t scanCount);

// True when size more bytes, on top of held, stay within the memory limit and
// fit the address space.
bool contextMemoryAllows(uint64_t held, uint64_t size);

// Adds size bytes to *held when the total stays within the memory limit and
// fits the address space; false (and *held unchanged) otherwise.
bool reserveContextMemory(uint64_t* held, uint64_t size);
