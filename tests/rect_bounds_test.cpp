// Strips as a legacy host sees them: rect->height is never read, every call
// writes each band the band loop decodes, whole (also below the picture),
// and returns the band loop's count. Each MCU row of the sequential frames
// has its own grey level (128 + 10 x MCU row), so a band written from the
// wrong MCU row, or clipped, shows.
#include <gtest/gtest.h>

#include <vector>

#include "KelJPEG.h"
#include "decoder_test_support.h"

namespace {

using testing_support::kGuard;

// Rows of one call's output: `count` rows of `value` (0: the flat streams' 128).
struct RowRun {
    int count;
    int value;
};

struct Call {
    uint32_t rowsAsked;
    int32_t returned;
    std::vector<RowRun> written;  // from the rectangle's top; every row after them keeps the guard
};

// A DC-only sequential stream whose MCU row k is the flat level 128 + 10k.
std::vector<uint8_t> bandedStream(uint16_t width, uint16_t height, uint8_t lumaSampling, bool heightInDnl) {
    testing_support::FlatJpeg recipe;
    recipe.width = width;
    recipe.height = height;
    recipe.heightInDnl = heightInDnl;
    const bool colour = lumaSampling != 0x11;
    recipe.components = colour ? std::vector<testing_support::FlatComponent>{{1, lumaSampling}, {2, 0x11}, {3, 0x11}}
                             : std::vector<testing_support::FlatComponent>{{1, 0x11}};
    const uint32_t mcusPerRow = (width + 8u * (lumaSampling >> 4) - 1) / (8u * (lumaSampling >> 4));
    recipe.level = testing_support::samples([mcusPerRow](int component, uint32_t mcu, int) {
        return component == 0 ? 10 * static_cast<int>(mcu / mcusPerRow) : 0;
    });
    return testing_support::flatJpeg(recipe);
}

}  // namespace

TEST(LegacyStrips, EveryBandIsWrittenWholeWhateverTheRectangleHeight) {
    // 4:2:0, 32 x 40: MCU rows of 16 (8 at half size, 2 at one eighth).
    const std::vector<uint8_t> colour = bandedStream(32, 40, 0x22, false);
    const std::vector<uint8_t> grey = bandedStream(16, 20, 0x11, false);
    const std::vector<uint8_t> greyDnl = bandedStream(16, 20, 0x11, true);
    // Strips that end inside the picture, at every scale and of progressive
    // frames, are pinned by the manifest's legacy strip decodes.
    const struct {
        const char* name;
        std::vector<uint8_t> stream;
        int scale;  // JPEG_SCALE_FULL: jpegDecodeToRect
        int width;  // output columns
        int bytesPerPixel;
        std::vector<Call> calls;
    } cases[] = {
        {"eighth size, one call past the picture", colour, JPEG_SCALE_1_8, 4, 3,
         {{6, 6, {{2, 128}, {2, 138}, {2, 148}}}}},
        // Rows 20..23 lie below the 20-row picture: the last band writes them.
        {"full size, rows past the picture", grey, JPEG_SCALE_FULL, 16, 1,
         {{24, 24, {{8, 128}, {8, 138}, {8, 148}}}}},
        // No rows asked, no rows; only the low 16 bits of the count count.
        {"full size, second call a whole band", grey, JPEG_SCALE_FULL, 16, 1,
         {{0, 0, {}}, {65536 + 4, 4, {{4, 128}}}, {8, 8, {{8, 138}}}}},
        {"full size, a rectangle narrower than the picture", grey, JPEG_SCALE_FULL, 10, 1, {{5, 5, {{5, 128}}}}},
        // Height still to come from DNL: no clip, whole bands.
        {"DNL frame", greyDnl, JPEG_SCALE_FULL, 16, 1, {{12, 16, {{8, 128}, {8, 138}}}}},
        {"DNL frame, half size clips at the rows asked", greyDnl, JPEG_SCALE_1_2, 8, 1,
         {{6, 6, {{4, 128}, {2, 138}}}}},
        // Lossless rows are a count too, and nothing follows the last.
        {"lossless", testing_support::writeLossless({16, 24, 8, 1, 0, 0, {0x11}}, {std::vector<int32_t>(16 * 24, 128)}), JPEG_SCALE_FULL, 16, 1,
         {{3, 3, {{3, 0}}}, {10, 10, {{10, 0}}}, {10, 10, {{10, 0}}}, {1, 1, {{1, 0}}}, {1, 0, {}}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        testing_support::ReportCapture reports;
        testing_support::MemoryDecode d(c.stream);
        ASSERT_NE(d.handle, nullptr);
        for (const Call& call : c.calls) {
            SCOPED_TRACE(call.rowsAsked);
            // A stated height of 1 that the legacy calls never read.
            testing_support::Output out = testing_support::outputFor(c.width, 1, c.bytesPerPixel, 0, 32);
            ImageRect rect = out.rect();
            int32_t got = c.scale == JPEG_SCALE_FULL ? jpegDecodeToRect(d.handle, &rect, call.rowsAsked)
                                                     : jpegDecodeScaleOutputToRect(d.handle, &rect, call.rowsAsked, c.scale);
            EXPECT_EQ(got, call.returned);
            size_t row = 0;
            for (const RowRun& run : call.written)
                for (int i = 0; i < run.count; ++i, ++row)
                    for (int b = 0; b < c.width * c.bytesPerPixel; ++b)
                        ASSERT_EQ(out.pixels[row * out.stride + b], run.value ? run.value : 128) << "row " << row;
            for (size_t i = row * out.stride; i < out.pixels.size(); ++i) ASSERT_EQ(out.pixels[i], kGuard) << "byte " << i;
        }
        EXPECT_TRUE(reports.reports().empty());
    }
}
