#include "XoltCrc.h"

void crc_init(uint16_t* crcAccum)
{
    *crcAccum = XOLT_CRC_INIT;
}

void crc_accumulate(uint8_t data, uint16_t* crcAccum)
{
    // Table-free step: fold the byte into the low half, then spread it.
    uint8_t tmp = static_cast<uint8_t>(data ^ (*crcAccum & 0xFF));
    tmp = static_cast<uint8_t>(tmp ^ (tmp << 4));
    *crcAccum = static_cast<uint16_t>((*crcAccum >> 8) ^ (tmp << 8) ^ (tmp << 3) ^ (tmp >> 4));
}

void crc_accumulate_buffer(uint16_t* crcAccum, const uint8_t* pBuffer, uint16_t length)
{
    for (uint16_t i = 0; i < length; ++i) {
        crc_accumulate(pBuffer[i], crcAccum);
    }
}

uint16_t crc_calculate(const uint8_t* pBuffer, uint16_t length)
{
    uint16_t crcTmp;
    crc_init(&crcTmp);
    crc_accumulate_buffer(&crcTmp, pBuffer, length);
    return crcTmp;
}
