// The values of one indirect object being written, and the text formatters
// that the whole writer shares.
//
// The writer keeps no document tree: it builds one small tree of these
// values, serialises it, and drops it. Serialisation is one switch on
// `type`; the byte forms here are the file format, so they are exact.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/binary_buf.h"
#include "base/byte_string.h"

class CKMC_Object {
 public:
  enum Type : uint32_t {
    kLiteral = 1,
    kNumber = 2,
    kText = 3,
    kStream = 4,
    kDictionary = 5,
    kArray = 6,
    kReference = 9,
  };

  explicit CKMC_Object(uint32_t type) : type(type) {}
  virtual ~CKMC_Object() = default;
  CKMC_Object(const CKMC_Object&) = delete;
  CKMC_Object& operator=(const CKMC_Object&) = delete;

  const uint32_t type;
};

// Any PDF token or pre-built text, written verbatim: "/Page", "[0 0 612 792]".
class CKMC_Literal : public CKMC_Object {
 public:
  explicit CKMC_Literal(CKM_ByteString text) : CKMC_Object(kLiteral), text(std::move(text)) {}
  CKM_ByteString text;
};

class CKMC_Number : public CKMC_Object {
 public:
  explicit CKMC_Number(double value) : CKMC_Object(kNumber), value(value) {}
  double value;
};

// A text string, written as UTF-16BE behind a byte order mark.
class CKMC_Text : public CKMC_Object {
 public:
  explicit CKMC_Text(CKM_WideString text) : CKMC_Object(kText), text(std::move(text)) {}
  CKM_WideString text;
};

class CKMC_Reference : public CKMC_Object {
 public:
  explicit CKMC_Reference(uint32_t number) : CKMC_Object(kReference), number(number) {}
  uint32_t number;
};

// Keys carry their leading solidus. Entries are kept in plain byte order of
// the keys, so every dictionary appears sorted in the file.
class CKMC_Dictionary : public CKMC_Object {
 public:
  CKMC_Dictionary() : CKMC_Object(kDictionary) {}

  void SetLiteral(const CKM_ByteString& key, CKM_ByteString text);
  void SetReference(const CKM_ByteString& key, uint32_t number);
  void SetNumber(const CKM_ByteString& key, double value);
  void SetText(const CKM_ByteString& key, CKM_WideString text);
  void SetObject(const CKM_ByteString& key, std::unique_ptr<CKMC_Object> value);
  // Deletes all values, so that one dictionary can serve many objects.
  void Clear() { entries.clear(); }

  std::map<CKM_ByteString, std::unique_ptr<CKMC_Object>> entries;
};

class CKMC_Array : public CKMC_Object {
 public:
  CKMC_Array() : CKMC_Object(kArray) {}
  void Add(std::unique_ptr<CKMC_Object> item) { items.push_back(std::move(item)); }
  std::vector<std::unique_ptr<CKMC_Object>> items;
};

// `data` holds the already encoded bytes; "/Length" is always set from it
// when the stream is written.
class CKMC_Stream : public CKMC_Object {
 public:
  CKMC_Stream() : CKMC_Object(kStream) {}
  CKMC_Dictionary dict;
  CKM_ByteString data;
};

// Appends the serial form of `object` (nothing for an unknown type).
void WriteObjectBody(CKM_BinaryBuf& out, CKMC_Object* object);

CKM_ByteString FormatInteger(int64_t value);
CKM_ByteString FormatNumber(double value);

// PDF name escaping: bytes >= 128, 127, '#', below 32 and the blank become
// "#XX"; everything else is copied. Consumes its argument.
CKM_ByteString EscapeName(CKM_ByteString& name);

// "(" + the text in the ANSI code page (at most 255 bytes) + ")", with no
// escaping: callers pass names that hold no parentheses.
CKM_ByteString MakeLiteralString(const CKM_WideString& text);

// One-shot zlib deflate (default level, zlib header included).
CKM_ByteString CompressToString(const void* bytes, size_t length);
