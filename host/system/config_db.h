// Private: the SQLite database behind the registry and the printer data.
//
// One file per user (see ConfigDatabasePath). Key paths, value names and
// printer names are stored as given (UTF-8) and compared by their ASCII
// case-folded form, kept in a column of its own. Values keep the Windows
// type number and the raw bytes the caller passed. A value's row id is its
// insertion order; rewriting a value keeps its place.
//
// Every call opens the database on first use (again when the path changes),
// serialises on one connection and returns ERROR_SUCCESS or a Windows error
// number. A file that cannot be opened or is not a database (or is damaged)
// makes calls fail with ERROR_ACCESS_DENIED, ERROR_REGISTRY_CORRUPT or
// ERROR_REGISTRY_IO_FAILED; the reason is written to stderr once per file.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/win_types.h"

namespace snk::host::configdb {

struct Value {
  std::string name;  // as first stored
  DWORD type = 0;
  std::vector<BYTE> data;
};

// Keys: `path` is the key path below HKEY_CURRENT_USER, components joined
// by '\' ("" is HKEY_CURRENT_USER itself); lookups fold it.
LSTATUS KeyExists(std::string_view path, bool* exists);
// Creates the key and every missing parent; *created says whether the key
// itself is new.
LSTATUS CreateKey(std::string_view path, bool* created);
// Names of the direct subkeys, as stored.
LSTATUS ListSubKeys(std::string_view path, std::vector<std::string>* names);

// Values of a key, in insertion order (none if the key is missing).
LSTATUS ListValues(std::string_view path, std::vector<Value>* values);
// ERROR_FILE_NOT_FOUND when the key or the value is missing.
LSTATUS GetValue(std::string_view path, std::string_view name, Value* value);
// Creates the key when missing.
LSTATUS SetValue(std::string_view path, const Value& value);
LSTATUS DeleteValue(std::string_view path, std::string_view name);

// Printer data: per printer, key and value name.
LSTATUS GetPrinterValue(std::string_view printer, std::string_view key, std::string_view name, Value* value);
LSTATUS SetPrinterValue(std::string_view printer, std::string_view key, const Value& value);

void Close();

}  // namespace snk::host::configdb
