// Binary streams: the abstract writer and reader every record goes through.
//
// Records are little-endian whatever the host: a bool is one byte (0 or 1),
// int32/uint32 and float four bytes, int64/uint64 and double eight. Every
// element operation is virtual so a stream can be backed by memory, a file
// or anything else; a backing only has to supply the raw block operations.
//
// Readers never read past the end: a short read throws
// KbExceptionEndOfStream before anything is copied. Record readers that are
// about to allocate for a stored count call EnsureAvailable first, so a
// corrupt count cannot make them allocate more than the stream holds.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/KbExport.h"

class KOBASE_API KbStreamWriteBinary {
 public:
  virtual ~KbStreamWriteBinary();

  // Raw bytes, copied as they are.
  virtual void WriteBuffer(const void* data, std::size_t size) = 0;

  // The version number that opens a record (an unsigned 32-bit value).
  virtual void WriteVersion(std::uint32_t version);

  virtual void WriteBool(bool value);
  virtual void WriteInt32(std::int32_t value);
  virtual void WriteUInt32(std::uint32_t value);
  virtual void WriteInt64(std::int64_t value);
  virtual void WriteUInt64(std::uint64_t value);
  virtual void WriteFloat(float value);
  virtual void WriteDouble(double value);
};

class KOBASE_API KbStreamReadBinary {
 public:
  virtual ~KbStreamReadBinary();

  // Copies the next `size` bytes; throws KbExceptionEndOfStream (and copies
  // nothing) when fewer remain.
  virtual void ReadBuffer(void* data, std::size_t size) = 0;

  // Bytes left between the read position and the end of the stream.
  virtual std::uint64_t GetRemainingBytes() const = 0;

  // Reads the stored version and returns it; throws
  // KbExceptionWrongFileVersion when it is not `expected`.
  virtual std::uint32_t ReadAndCompareVersion(std::uint32_t expected);

  // Throws KbException for a byte other than 0 or 1 (a corrupt record).
  virtual bool ReadBool();
  virtual std::int32_t ReadInt32();
  virtual std::uint32_t ReadUInt32();
  virtual std::int64_t ReadInt64();
  virtual std::uint64_t ReadUInt64();
  virtual float ReadFloat();
  virtual double ReadDouble();

  // Throws KbExceptionEndOfStream unless count * elementSize bytes remain
  // (the product is checked for overflow).
  void EnsureAvailable(std::uint64_t count, std::uint64_t elementSize = 1) const;
};

// Older names of the same two interfaces.
using KbStreamWrite = KbStreamWriteBinary;
using KbStreamRead = KbStreamReadBinary;
