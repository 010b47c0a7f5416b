#include "msgHandle/XoltCrc.h"

#include <array>

void crc_init(uint16_t* crcAccum)
{
    *crcAccum = XOLT_CRC_INIT;
}

namespace {

// crc_accumulate's step depends on the byte and the accumulator's low byte
// only through their xor, x: the new accumulator is the old one shifted right
// by 8, xor a value of x alone, STEP[0][x], worked out once per x with the
// same step. STEP[k][x] is what x becomes after k more steps over zero
// bytes. Eight bytes then take one lookup each, independent of one another:
// the accumulator's two bytes are xored into the first two, which carry it
// away whole (slicing by eight).
constexpr int SLICES = 8;
using StepTables = std::array<std::array<uint16_t, 256>, SLICES>;

constexpr StepTables makeStepTables()
{
    StepTables tables = {};
    for (int x = 0; x < 256; ++x) {
        uint16_t crc = 0;
        crc_accumulate(static_cast<uint8_t>(x), &crc);
        tables[0][x] = crc;
    }
    for (int k = 1; k < SLICES; ++k) {
        for (int x = 0; x < 256; ++x) {
            const uint16_t prev = tables[k - 1][x];
            tables[k][x] = static_cast<uint16_t>((prev >> 8) ^ tables[0][prev & 0xFF]);
        }
    }
    return tables;
}

constexpr StepTables STEP = makeStepTables();

} // namespace

void crc_accumulate_buffer(uint16_t* crcAccum, const uint8_t* pBuffer, uint16_t length)
{
    uint32_t crc = *crcAccum;
    const uint8_t* p = pBuffer;
    const uint8_t* const end = pBuffer + length;
    for (; end - p >= SLICES; p += SLICES) {
        const uint32_t lo = (p[0] | (p[1] << 8)) ^ crc;
        crc = STEP[7][lo & 0xFF] ^ STEP[6][lo >> 8] ^ STEP[5][p[2]] ^ STEP[4][p[3]] ^ STEP[3][p[4]] ^ STEP[2][p[5]] ^
              STEP[1][p[6]] ^ STEP[0][p[7]];
    }
    // The rest the same way, four, two and one bytes at a time.
    if (end - p >= 4) {
        const uint32_t lo = (p[0] | (p[1] << 8)) ^ crc;
        crc = STEP[3][lo & 0xFF] ^ STEP[2][lo >> 8] ^ STEP[1][p[2]] ^ STEP[0][p[3]];
        p += 4;
    }
    if (end - p >= 2) {
        const uint32_t lo = (p[0] | (p[1] << 8)) ^ crc;
        crc = STEP[1][lo & 0xFF] ^ STEP[0][lo >> 8];
        p += 2;
    }
    if (p < end) {
        crc = (crc >> 8) ^ STEP[0][(crc ^ *p) & 0xFF];
    }
    *crcAccum = static_cast<uint16_t>(crc);
}

uint16_t crc_calculate(const uint8_t* pBuffer, uint16_t length)
{
    uint16_t crcTmp;
    crc_init(&crcTmp);
    crc_accumulate_buffer(&crcTmp, pBuffer, length);
    return crcTmp;
}
