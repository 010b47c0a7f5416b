#ifndef LUMBRIX_XOLT_BYTE_ORDER_H
#define LUMBRIX_XOLT_BYTE_ORDER_H

#include <cstdint>

// Little-endian fields of link payloads, read and written byte by byte: no
// alignment needed, same result on any host byte order.

inline uint16_t rd_u16le(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

inline uint32_t rd_u32le(const uint8_t* p)
{
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}

inline uint64_t rd_u64le(const uint8_t* p)
{
    return static_cast<uint64_t>(rd_u32le(p)) | (static_cast<uint64_t>(rd_u32le(p + 4)) << 32);
}

inline int16_t rd_i16le(const uint8_t* p)
{
    return static_cast<int16_t>(rd_u16le(p));
}

inline int32_t rd_i32le(const uint8_t* p)
{
    return static_cast<int32_t>(rd_u32le(p));
}

inline int64_t rd_i64le(const uint8_t* p)
{
    return static_cast<int64_t>(rd_u64le(p));
}

inline void wr_u16le(uint8_t* p, uint16_t v)
{
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}

inline void wr_u32le(uint8_t* p, uint32_t v)
{
    wr_u16le(p, static_cast<uint16_t>(v));
    wr_u16le(p + 2, static_cast<uint16_t>(v >> 16));
}

inline void wr_u64le(uint8_t* p, uint64_t v)
{
    wr_u32le(p, static_cast<uint32_t>(v));
    wr_u32le(p + 4, static_cast<uint32_t>(v >> 32));
}

inline void wr_i16le(uint8_t* p, int16_t v)
{
    wr_u16le(p, static_cast<uint16_t>(v));
}

inline void wr_i32le(uint8_t* p, int32_t v)
{
    wr_u32le(p, static_cast<uint32_t>(v));
}

inline void wr_i64le(uint8_t* p, int64_t v)
{
    wr_u64le(p, static_cast<uint64_t>(v));
}

#endif
