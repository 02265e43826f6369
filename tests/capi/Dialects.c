/* Compiled in every version of C and of C++: all initialisers, and a call. */
#include "ravelo.h"
#include "ravelo_encode.h"

int dialects(const void* frame, uint64_t size, ravelo_error* lastError);

int dialects(const void* frame, uint64_t size, ravelo_error* lastError) {
    ravelo_error error = RAVELO_ERROR_INIT;
    ravelo_frame_info info = RAVELO_FRAME_INFO_INIT;
    ravelo_frame_check check = RAVELO_FRAME_CHECK_INIT;
    ravelo_damage_report report = RAVELO_DAMAGE_REPORT_INIT;
    ravelo_decode_options options = RAVELO_DECODE_OPTIONS_INIT;
    ravelo_buffer_requirements needs = RAVELO_BUFFER_REQUIREMENTS_INIT;
    ravelo_output output = RAVELO_OUTPUT_INIT;
    ravelo_source_picture picture = RAVELO_SOURCE_PICTURE_INIT;
    ravelo_encode_options encodeOptions = RAVELO_ENCODE_OPTIONS_INIT;
    ravelo_encoded_frame encoded = RAVELO_ENCODED_FRAME_INIT;
    ravelo_reduction reduction = RAVELO_HALF_SIZE;
    ravelo_coding coding = RAVELO_YCBCR;
    ravelo_pixel_form form = RAVELO_RGBA;
    ravelo_target target = RAVELO_TARGET_BEST;
    ravelo_failed_slices failedSlices = RAVELO_FAILED_BLACK;
    ravelo_frame_verdict verdict = RAVELO_FRAME_WHOLE;
    ravelo_color_primaries primaries = RAVELO_PRIMARIES_BT709;
    ravelo_transfer_characteristic transfer = RAVELO_TRANSFER_PQ;
    ravelo_matrix_coefficients matrix = RAVELO_MATRIX_BT2020;
    options.damage = &report;
    options.reduction = (uint32_t)reduction;
    options.coding = (uint32_t)coding;
    options.target = (uint32_t)target;
    options.pixel_form = (uint32_t)form;
    options.failed_slices = (uint32_t)failedSlices;
    if (ravelo_get_frame_info(frame, size, &info, &error) != RAVELO_OK ||
        ravelo_check_frame(frame, size, &check, &error) != RAVELO_OK ||
        ravelo_get_buffer_requirements(frame, size, &options, &needs, &error) != RAVELO_OK ||
        ravelo_decode(frame, size, &output, &options, &error) != RAVELO_OK ||
        ravelo_encode(&picture, &encodeOptions, &encoded, &error) != RAVELO_OK) {
        *lastError = error;
        return 1;
    }
    return check.verdict == (uint32_t)verdict && info.color_primaries == (uint32_t)primaries &&
           info.transfer_characteristic == (uint32_t)transfer && info.matrix_coefficients == (uint32_t)matrix;
}
