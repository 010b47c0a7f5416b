#ifndef LUMBRIX_XOLT_CRC_H
#define LUMBRIX_XOLT_CRC_H

#include <cstdint>

// The 16-bit link CRC: reflected polynomial 0x8408, start value 0xFFFF, no
// final inversion. Frames carry it low byte first; it covers the header from
// len_lo on, the payload and, last, the message's CRC-extra byte.

constexpr uint16_t XOLT_CRC_INIT = 0xFFFF;

// Sets the accumulator to its start value.
void crc_init(uint16_t* crcAccum);

// Adds one byte to the accumulator. Inline: the receive parser runs it for
// every byte of every frame.
constexpr void crc_accumulate(uint8_t data, uint16_t* crcAccum)
{
    // Table-free step: fold the byte into the low half, then spread it.
    uint8_t tmp = static_cast<uint8_t>(data ^ (*crcAccum & 0xFF));
    tmp = static_cast<uint8_t>(tmp ^ (tmp << 4));
    *crcAccum = static_cast<uint16_t>((*crcAccum >> 8) ^ (tmp << 8) ^ (tmp << 3) ^ (tmp >> 4));
}

// Adds length bytes to the accumulator.
void crc_accumulate_buffer(uint16_t* crcAccum, const uint8_t* pBuffer, uint16_t length);

// CRC of length bytes, starting from the start value.
uint16_t crc_calculate(const uint8_t* pBuffer, uint16_t length);

#endif
