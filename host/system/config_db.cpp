// The registry and printer-data database (see config_db.h).
//
// Contract: the file is untrusted only in the sense that it may be damaged
// or not a database at all. Opening checks the header and the schema (any
// SQLite error refuses the file); each statement's result code is checked at
// use, and a damaged page found then fails that call. Nothing is repaired.
// The default rollback journal is used rather than WAL, because WAL needs
// shared memory that network home folders do not always give.
#include "host/system/config_db.h"

#include <fcntl.h>
#include <pwd.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <set>

#include "host/system/host_control.h"
#include "host/system/wide_text.h"
#include "host/system/win_errors.h"

namespace snk::host {
namespace {

using configdb::Value;

constexpr int kSchemaVersion = 1;
constexpr int kBusyTimeoutMs = 5000;

constexpr const char* kSchema = R"sql(
CREATE TABLE IF NOT EXISTS registry_keys(
  id INTEGER PRIMARY KEY,
  path TEXT NOT NULL,
  folded TEXT NOT NULL UNIQUE);
CREATE TABLE IF NOT EXISTS registry_values(
  id INTEGER PRIMARY KEY,
  key_id INTEGER NOT NULL REFERENCES registry_keys(id) ON DELETE CASCADE,
  name TEXT NOT NULL,
  folded TEXT NOT NULL,
  type INTEGER NOT NULL,
  data BLOB NOT NULL,
  UNIQUE(key_id, folded));
CREATE TABLE IF NOT EXISTS printer_data(
  printer TEXT NOT NULL,
  printer_folded TEXT NOT NULL,
  key TEXT NOT NULL,
  key_folded TEXT NOT NULL,
  name TEXT NOT NULL,
  folded TEXT NOT NULL,
  type INTEGER NOT NULL,
  data BLOB NOT NULL,
  PRIMARY KEY(printer_folded, key_folded, folded));
INSERT OR IGNORE INTO registry_keys(path, folded) VALUES('', '');
)sql";

DWORD WinErrorFromSqlite(int code) {
  switch (code & 0xFF) {
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_FORMAT:
      return kErrorRegistryCorrupt;
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_READONLY:
    case SQLITE_AUTH:
      return ERROR_ACCESS_DENIED;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return kErrorBusy;
    case SQLITE_FULL:
      return kErrorDiskFull;
    case SQLITE_NOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    default:
      return kErrorRegistryIoFailed;
  }
}

// The one connection, its cached statements and the open/failure state.
struct Database {
  std::mutex mutex;
  sqlite3* db = nullptr;
  std::string path;   // the file `db` (or the failure) belongs to
  DWORD failure = 0;  // sticky open failure for `path`
  std::map<const char*, sqlite3_stmt*> statements;
  std::set<std::string> reported;  // files whose problem was shown

  void Report(const std::string& what) {
    if (reported.insert(path).second) {
      std::fprintf(stderr, "snk: settings database %s: %s\n", path.c_str(), what.c_str());
    }
  }

  void CloseConnection() {
    for (auto& [sql, stmt] : statements) sqlite3_finalize(stmt);
    statements.clear();
    if (db) sqlite3_close(db);
    db = nullptr;
    failure = 0;
    path.clear();
  }
};

Database& TheDatabase() {
  static Database* database = new Database;  // used until exit
  return *database;
}

// Creates each missing folder of `dir` with mode 0700.
bool MakeFolders(const std::string& dir) {
  for (size_t pos = 1; pos <= dir.size(); ++pos) {
    if (pos != dir.size() && dir[pos] != '/') continue;
    std::string part = dir.substr(0, pos);
    if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) return false;
  }
  return true;
}

// Opens `path`, creating the file (0600) and its folders when missing, and
// makes sure the schema is there.
DWORD OpenConnection(Database& d, const std::string& path) {
  d.path = path;
  if (path.empty()) {
    d.Report("no home folder (set HOME or XDG_CONFIG_HOME)");
    return ERROR_FILE_NOT_FOUND;
  }
  std::string dir = path.substr(0, path.rfind('/'));
  if (!MakeFolders(dir)) {
    d.Report(std::string("cannot create folder: ") + std::strerror(errno));
    return WinErrorFromErrno(errno);
  }
  int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd >= 0) close(fd);
  int rc = sqlite3_open_v2(path.c_str(), &d.db,
                           SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  if (rc == SQLITE_OK) {
    sqlite3_extended_result_codes(d.db, 1);
    sqlite3_busy_timeout(d.db, kBusyTimeoutMs);
    rc = sqlite3_exec(d.db, "PRAGMA foreign_keys=ON", nullptr, nullptr, nullptr);
  }
  int version = 0;
  if (rc == SQLITE_OK) {
    sqlite3_stmt* stmt = nullptr;
    rc = sqlite3_prepare_v2(d.db, "PRAGMA user_version", -1, &stmt, nullptr);
    if (rc == SQLITE_OK && sqlite3_step(stmt) == SQLITE_ROW) {
      version = sqlite3_column_int(stmt, 0);
    }
    if (rc == SQLITE_OK) rc = sqlite3_finalize(stmt);
  }
  if (rc == SQLITE_OK && version > kSchemaVersion) {
    d.Report("written by a newer version of snk (schema " + std::to_string(version) + ")");
    return kErrorRegistryCorrupt;
  }
  // A new file gets the schema; an existing one is only read from here on,
  // so a read-only file still answers queries.
  if (rc == SQLITE_OK && version == 0) {
    rc = sqlite3_exec(d.db, kSchema, nullptr, nullptr, nullptr);
    if (rc == SQLITE_OK) {
      rc = sqlite3_exec(d.db, "PRAGMA user_version=1", nullptr, nullptr, nullptr);
    }
  }
  if (rc != SQLITE_OK) {
    d.Report(d.db ? sqlite3_errmsg(d.db) : sqlite3_errstr(rc));
    return WinErrorFromSqlite(rc);
  }
  return ERROR_SUCCESS;
}

// A cached prepared statement, reset when the object goes.
class Statement {
 public:
  Statement(Database& d, const char* sql) : d_(d) {
    auto it = d.statements.find(sql);
    if (it != d.statements.end()) {
      stmt_ = it->second;
      return;
    }
    rc_ = sqlite3_prepare_v3(d.db, sql, -1, SQLITE_PREPARE_PERSISTENT, &stmt_, nullptr);
    if (rc_ == SQLITE_OK) d.statements.emplace(sql, stmt_);
  }
  ~Statement() {
    if (stmt_) {
      sqlite3_reset(stmt_);
      sqlite3_clear_bindings(stmt_);
    }
  }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& Text(int i, std::string_view s) {
    if (rc_ == SQLITE_OK) {
      rc_ = sqlite3_bind_text(stmt_, i, s.data(), static_cast<int>(s.size()), SQLITE_TRANSIENT);
    }
    return *this;
  }
  Statement& Folded(int i, std::string_view s) { return Text(i, FoldAscii(s)); }
  Statement& Int(int i, int64_t v) {
    if (rc_ == SQLITE_OK) rc_ = sqlite3_bind_int64(stmt_, i, v);
    return *this;
  }
  Statement& Blob(int i, const std::vector<BYTE>& b) {
    // An empty blob must not become NULL, so never pass a null pointer.
    static const BYTE kEmpty = 0;
    if (rc_ == SQLITE_OK) {
      rc_ = sqlite3_bind_blob(stmt_, i, b.empty() ? &kEmpty : b.data(), static_cast<int>(b.size()),
                              SQLITE_TRANSIENT);
    }
    return *this;
  }

  // SQLITE_ROW, SQLITE_DONE or an error code.
  int Step() {
    if (rc_ != SQLITE_OK) return rc_;
    int rc = sqlite3_step(stmt_);
    if (rc != SQLITE_ROW && rc != SQLITE_DONE) rc_ = rc;
    return rc;
  }
  // Runs to the end; ERROR_SUCCESS or the Windows error.
  DWORD Run() {
    int rc;
    while ((rc = Step()) == SQLITE_ROW) {
    }
    return Result(rc);
  }
  DWORD Result(int rc) {
    if (rc == SQLITE_ROW || rc == SQLITE_DONE) return ERROR_SUCCESS;
    d_.Report(sqlite3_errmsg(d_.db));
    return WinErrorFromSqlite(rc);
  }

  std::string ColumnText(int c) const {
    auto* p = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, c));
    return p ? std::string(p, sqlite3_column_bytes(stmt_, c)) : std::string();
  }
  int64_t ColumnInt(int c) const { return sqlite3_column_int64(stmt_, c); }
  std::vector<BYTE> ColumnBlob(int c) const {
    auto* p = static_cast<const BYTE*>(sqlite3_column_blob(stmt_, c));
    return p ? std::vector<BYTE>(p, p + sqlite3_column_bytes(stmt_, c)) : std::vector<BYTE>();
  }
  Value ColumnValue(int first) const {
    return Value{ColumnText(first), static_cast<DWORD>(ColumnInt(first + 1)), ColumnBlob(first + 2)};
  }

 private:
  Database& d_;
  sqlite3_stmt* stmt_ = nullptr;
  int rc_ = SQLITE_OK;
};

// Runs `f(database)` under the lock with the database open for the current
// path.
template <typename F>
LSTATUS WithDatabase(F f) {
  Database& d = TheDatabase();
  std::lock_guard lock(d.mutex);
  std::string path = ConfigDatabasePath();
  if (path != d.path || (!d.db && !d.failure)) {
    d.CloseConnection();
    d.failure = OpenConnection(d, path);
    if (d.failure && d.db) {
      sqlite3_close(d.db);
      d.db = nullptr;
    }
  }
  if (d.failure) return static_cast<LSTATUS>(d.failure);
  return static_cast<LSTATUS>(f(d));
}

// Runs `f` inside a write transaction.
template <typename F>
DWORD InTransaction(Database& d, F f) {
  int rc = sqlite3_exec(d.db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
  if (rc != SQLITE_OK) {
    d.Report(sqlite3_errmsg(d.db));
    return WinErrorFromSqlite(rc);
  }
  DWORD result = f();
  rc = sqlite3_exec(d.db, result ? "ROLLBACK" : "COMMIT", nullptr, nullptr, nullptr);
  if (!result && rc != SQLITE_OK) {
    d.Report(sqlite3_errmsg(d.db));
    sqlite3_exec(d.db, "ROLLBACK", nullptr, nullptr, nullptr);
    return WinErrorFromSqlite(rc);
  }
  return result;
}

DWORD CreateKeyLocked(Database& d, std::string_view path, bool* created) {
  // Each prefix that ends before a '\' is a parent, then the key itself.
  for (size_t pos = 0; pos <= path.size(); ++pos) {
    if (pos != path.size() && path[pos] != '\\') continue;
    std::string_view prefix = path.substr(0, pos);
    Statement s(d, "INSERT OR IGNORE INTO registry_keys(path, folded) VALUES(?1, ?2)");
    DWORD rc = s.Text(1, prefix).Folded(2, prefix).Run();
    if (rc) return rc;
    if (pos == path.size() && created) *created = sqlite3_changes(d.db) > 0;
  }
  return ERROR_SUCCESS;
}

}  // namespace

std::string ConfigDatabasePath() {
  const char* xdg = std::getenv("XDG_CONFIG_HOME");
  std::string base;
  // Relative values are ignored, as the XDG base directory rules say.
  if (xdg && xdg[0] == '/') {
    base = xdg;
  } else {
    const char* home = std::getenv("HOME");
    std::string homeDir = home && home[0] == '/' ? home : "";
    if (homeDir.empty()) {
      passwd pw{};
      passwd* found = nullptr;
      char buffer[4096];
      if (getpwuid_r(geteuid(), &pw, buffer, sizeof buffer, &found) == 0 && found && found->pw_dir &&
          found->pw_dir[0] == '/') {
        homeDir = found->pw_dir;
      }
    }
    if (homeDir.empty()) return {};
    base = homeDir + "/.config";
  }
  while (base.size() > 1 && base.back() == '/') base.pop_back();
  return base + "/snk/registry.sqlite";
}

void CloseConfigDatabase() {
  Database& d = TheDatabase();
  std::lock_guard lock(d.mutex);
  d.CloseConnection();
}

namespace configdb {

LSTATUS KeyExists(std::string_view path, bool* exists) {
  return WithDatabase([&](Database& d) {
    Statement s(d, "SELECT 1 FROM registry_keys WHERE folded = ?1");
    int rc = s.Folded(1, path).Step();
    *exists = rc == SQLITE_ROW;
    return s.Result(rc);
  });
}

LSTATUS CreateKey(std::string_view path, bool* created) {
  return WithDatabase(
      [&](Database& d) { return InTransaction(d, [&] { return CreateKeyLocked(d, path, created); }); });
}

LSTATUS ListSubKeys(std::string_view path, std::vector<std::string>* names) {
  names->clear();
  return WithDatabase([&](Database& d) {
    // Children sort between "path\" and "path]" (']' follows '\'); below
    // the root, before 0xF5, which no UTF-8 text reaches.
    std::string prefix = path.empty() ? std::string() : FoldAscii(path) + "\\";
    std::string end = path.empty() ? std::string("\xF5") : FoldAscii(path) + "]";
    Statement s(d,
                "SELECT path FROM registry_keys WHERE folded > ?1 AND folded < ?2 "
                "ORDER BY id");
    s.Text(1, prefix).Text(2, end);
    int rc;
    while ((rc = s.Step()) == SQLITE_ROW) {
      std::string child = s.ColumnText(0).substr(prefix.size());
      if (!child.empty() && child.find('\\') == std::string::npos) {
        names->push_back(child);
      }
    }
    return s.Result(rc);
  });
}

LSTATUS ListValues(std::string_view path, std::vector<Value>* values) {
  values->clear();
  return WithDatabase([&](Database& d) {
    Statement s(d,
                "SELECT v.name, v.type, v.data FROM registry_values v "
                "JOIN registry_keys k ON v.key_id = k.id "
                "WHERE k.folded = ?1 ORDER BY v.id");
    s.Folded(1, path);
    int rc;
    while ((rc = s.Step()) == SQLITE_ROW) values->push_back(s.ColumnValue(0));
    return s.Result(rc);
  });
}

LSTATUS GetValue(std::string_view path, std::string_view name, Value* value) {
  return WithDatabase([&](Database& d) -> DWORD {
    Statement s(d,
                "SELECT v.name, v.type, v.data FROM registry_values v "
                "JOIN registry_keys k ON v.key_id = k.id "
                "WHERE k.folded = ?1 AND v.folded = ?2");
    int rc = s.Folded(1, path).Folded(2, name).Step();
    if (rc == SQLITE_DONE) return ERROR_FILE_NOT_FOUND;
    if (rc == SQLITE_ROW) *value = s.ColumnValue(0);
    return s.Result(rc);
  });
}

LSTATUS SetValue(std::string_view path, const Value& value) {
  return WithDatabase([&](Database& d) {
    return InTransaction(d, [&]() -> DWORD {
      if (DWORD rc = CreateKeyLocked(d, path, nullptr)) return rc;
      // An existing value keeps its name and its place in the order.
      Statement s(d,
                  "INSERT INTO registry_values(key_id, name, folded, type, data) "
                  "SELECT id, ?2, ?3, ?4, ?5 FROM registry_keys WHERE folded = ?1 "
                  "ON CONFLICT(key_id, folded) DO UPDATE SET "
                  "type = excluded.type, data = excluded.data");
      return s.Folded(1, path)
          .Text(2, value.name)
          .Folded(3, value.name)
          .Int(4, value.type)
          .Blob(5, value.data)
          .Run();
    });
  });
}

LSTATUS DeleteValue(std::string_view path, std::string_view name) {
  return WithDatabase([&](Database& d) -> DWORD {
    Statement s(d,
                "DELETE FROM registry_values WHERE folded = ?2 AND key_id = "
                "(SELECT id FROM registry_keys WHERE folded = ?1)");
    if (DWORD rc = s.Folded(1, path).Folded(2, name).Run()) return rc;
    return sqlite3_changes(d.db) > 0 ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
  });
}

LSTATUS GetPrinterValue(std::string_view printer, std::string_view key, std::string_view name, Value* value) {
  return WithDatabase([&](Database& d) -> DWORD {
    Statement s(d,
                "SELECT name, type, data FROM printer_data WHERE "
                "printer_folded = ?1 AND key_folded = ?2 AND folded = ?3");
    int rc = s.Folded(1, printer).Folded(2, key).Folded(3, name).Step();
    if (rc == SQLITE_DONE) return ERROR_FILE_NOT_FOUND;
    if (rc == SQLITE_ROW) *value = s.ColumnValue(0);
    return s.Result(rc);
  });
}

LSTATUS SetPrinterValue(std::string_view printer, std::string_view key, const Value& value) {
  return WithDatabase([&](Database& d) {
    Statement s(d,
                "INSERT INTO printer_data(printer, printer_folded, key, key_folded, "
                "name, folded, type, data) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8) "
                "ON CONFLICT(printer_folded, key_folded, folded) DO UPDATE SET "
                "type = excluded.type, data = excluded.data");
    return s.Text(1, printer)
        .Folded(2, printer)
        .Text(3, key)
        .Folded(4, key)
        .Text(5, value.name)
        .Folded(6, value.name)
        .Int(7, value.type)
        .Blob(8, value.data)
        .Run();
  });
}

void Close() { CloseConfigDatabase(); }

}  // namespace configdb
}  // namespace snk::host
