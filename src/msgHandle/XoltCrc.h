#ifndef LUMBRIX_XOLT_CRC_H
#define LUMBRIX_XOLT_CRC_H

#include <cstdint>

// The 16-bit link CRC: reflected polynomial 0x8408, start value 0xFFFF, no
// final inversion. Frames carry it low byte first; it covers the header from
// len_lo on, the payload and, last, the message's CRC-extra byte.

constexpr uint16_t XOLT_CRC_INIT = 0xFFFF;

// Sets the accumulator to its start value.
void crc_init(uint16_t* crcAccum);

// Adds one byte to the accumulator.
void crc_accumulate(uint8_t data, uint16_t* crcAccum);

// Adds length bytes to the accumulator.
void crc_accumulate_buffer(uint16_t* crcAccum, const uint8_t* pBuffer, uint16_t length);

// CRC of length bytes, starting from the start value.
uint16_t crc_calculate(const uint8_t* pBuffer, uint16_t length);

#endif
