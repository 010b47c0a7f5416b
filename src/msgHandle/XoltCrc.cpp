#include "XoltCrc.h"

void crc_init(uint16_t* crcAccum)
{
    *crcAccum = XOLT_CRC_INIT;
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
