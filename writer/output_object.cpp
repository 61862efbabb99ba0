#include "writer/output_object.h"

#include <zlib.h>

#include <stdexcept>

#include "base/number_format.h"
#include "platform/win32.h"

void CKMC_Dictionary::SetObject(const CKM_ByteString& key, std::unique_ptr<CKMC_Object> value) {
  entries[key] = std::move(value);
}

void CKMC_Dictionary::SetLiteral(const CKM_ByteString& key, CKM_ByteString text) {
  SetObject(key, std::make_unique<CKMC_Literal>(std::move(text)));
}

void CKMC_Dictionary::SetReference(const CKM_ByteString& key, uint32_t number) {
  SetObject(key, std::make_unique<CKMC_Reference>(number));
}

void CKMC_Dictionary::SetNumber(const CKM_ByteString& key, double value) {
  SetObject(key, std::make_unique<CKMC_Number>(value));
}

void CKMC_Dictionary::SetText(const CKM_ByteString& key, CKM_WideString text) {
  SetObject(key, std::make_unique<CKMC_Text>(std::move(text)));
}

CKM_ByteString FormatInteger(int64_t value) { return CKM_ByteString(snk::FormatInteger(value)); }

CKM_ByteString FormatNumber(double value) { return CKM_ByteString(snk::FormatNumber(value)); }

namespace {

// One byte of a UTF-16BE literal string: the delimiters and the backslash
// get a backslash; CR and LF are written as octal escapes so that line-end
// conversion can never change the string.
void AppendTextByte(CKM_BinaryBuf& out, uint8_t byte) {
  switch (byte) {
    case '(':
    case ')':
    case '\\':
      out.AppendByte('\\');
      out.AppendByte(byte);
      break;
    case 13:
      out.AppendString("\\015");
      break;
    case 10:
      out.AppendString("\\012");
      break;
    default:
      out.AppendByte(byte);
  }
}

void WriteText(CKM_BinaryBuf& out, const CKM_WideString& text) {
  out.AppendString("(\xFE\xFF");
  for (char16_t unit : text.view()) {
    AppendTextByte(out, static_cast<uint8_t>(unit >> 8));
    AppendTextByte(out, static_cast<uint8_t>(unit & 0xFF));
  }
  out.AppendString(") ");
}

void WriteDictionary(CKM_BinaryBuf& out, CKMC_Dictionary& dict) {
  out.AppendString("<<\n");
  for (auto& [key, value] : dict.entries) {
    out.AppendString(key.view());
    out.AppendByte(' ');
    WriteObjectBody(out, value.get());
    out.AppendByte('\n');
  }
  out.AppendString(">>\n");
}

void WriteStream(CKM_BinaryBuf& out, CKMC_Stream& stream) {
  stream.dict.SetNumber("/Length", static_cast<double>(stream.data.GetLength()));
  WriteDictionary(out, stream.dict);
  out.AppendString("stream\n");
  out.AppendString(stream.data.view());
  out.AppendString("\nendstream\n");
}

}  // namespace

void WriteObjectBody(CKM_BinaryBuf& out, CKMC_Object* object) {
  if (!object) return;
  switch (object->type) {
    case CKMC_Object::kLiteral:
      out.AppendString(static_cast<CKMC_Literal*>(object)->text.view());
      out.AppendByte(' ');
      break;
    case CKMC_Object::kNumber:
      out.AppendString(snk::FormatNumber(static_cast<CKMC_Number*>(object)->value));
      out.AppendByte(' ');
      break;
    case CKMC_Object::kText:
      WriteText(out, static_cast<CKMC_Text*>(object)->text);
      break;
    case CKMC_Object::kStream:
      WriteStream(out, *static_cast<CKMC_Stream*>(object));
      break;
    case CKMC_Object::kDictionary:
      WriteDictionary(out, *static_cast<CKMC_Dictionary*>(object));
      break;
    case CKMC_Object::kArray:
      out.AppendString("[ ");
      for (auto& item : static_cast<CKMC_Array*>(object)->items) WriteObjectBody(out, item.get());
      out.AppendString("] ");
      break;
    case CKMC_Object::kReference:
      out.AppendString(snk::FormatInteger(static_cast<CKMC_Reference*>(object)->number));
      out.AppendString(" 0 R ");
      break;
    default:
      break;
  }
}

CKM_ByteString EscapeName(CKM_ByteString& name) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  CKM_ByteString out;
  for (size_t i = 0; i < name.GetLength(); ++i) {
    auto byte = static_cast<uint8_t>(name[i]);
    if (byte >= 127 || byte <= 32 || byte == '#') {
      out += '#';
      out += kHex[byte >> 4];
      out += kHex[byte & 15];
    } else {
      out += static_cast<char>(byte);
    }
  }
  name.Empty();
  return out;
}

CKM_ByteString MakeLiteralString(const CKM_WideString& text) {
  // The ANSI form is cut to 255 bytes, the room names have in this form.
  int length = static_cast<int>(text.GetLength());
  int needed = WideCharToMultiByte(CP_ACP, 0, text.c_str(), length, nullptr, 0, nullptr, nullptr);
  std::string bytes(needed > 0 ? static_cast<size_t>(needed) : 0, '\0');
  if (needed > 0)
    WideCharToMultiByte(CP_ACP, 0, text.c_str(), length, bytes.data(), needed, nullptr, nullptr);
  if (bytes.size() > 255) bytes.resize(255);
  CKM_ByteString out("(");
  out += bytes;
  out += ')';
  return out;
}

CKM_ByteString CompressToString(const void* bytes, size_t length) {
  // compressBound() is the most deflate can ever need, so the output always
  // fits, whatever the input.
  uLongf size = compressBound(static_cast<uLong>(length));
  std::string out(size, '\0');
  int rc = compress(reinterpret_cast<Bytef*>(out.data()), &size,
                    static_cast<const Bytef*>(bytes), static_cast<uLong>(length));
  if (rc != Z_OK) throw std::runtime_error("deflate failed");
  out.resize(size);
  return CKM_ByteString(std::move(out));
}
