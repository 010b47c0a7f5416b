#include "msgHandle/XoltCrc.h"

#include <array>

void crc_init(uint16_t* crcAccum)
{
    *crcAccum = XOLT_CRC_INIT;
}

namespace {

// crc_accumulate's step depends on the byte and the accumulator's low byte
// only through their xor, x: the new accumulator is the old one shifted right
// by 8, xor a value of x alone. That value, worked out once per x with the
// same step, makes a run of bytes a lookup each.
constexpr std::array<uint16_t, 256> makeStepTable()
{
    std::array<uint16_t, 256> table = {};
    for (int x = 0; x < 256; ++x) {
        uint16_t crc = 0;
        crc_accumulate(static_cast<uint8_t>(x), &crc);
        table[x] = crc;
    }
    return table;
}

constexpr std::array<uint16_t, 256> STEP_TABLE = makeStepTable();

} // namespace

void crc_accumulate_buffer(uint16_t* crcAccum, const uint8_t* pBuffer, uint16_t length)
{
    uint16_t crc = *crcAccum;
    for (uint16_t i = 0; i < length; ++i) {
        crc = static_cast<uint16_t>((crc >> 8) ^ STEP_TABLE[(crc ^ pBuffer[i]) & 0xFF]);
    }
    *crcAccum = crc;
}

uint16_t crc_calculate(const uint8_t* pBuffer, uint16_t length)
{
    uint16_t crcTmp;
    crc_init(&crcTmp);
    crc_accumulate_buffer(&crcTmp, pBuffer, length);
    return crcTmp;
}
