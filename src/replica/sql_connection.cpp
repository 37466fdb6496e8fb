#include "replica/sql_connection.h"

#include "replica/replica_error.h"
#include "replica/replica_log.h"

namespace drive::replica {
namespace {

// The user's words for what went wrong; SQLite's own text is for developers and goes to the
// log.
std::string describe(int code) {
  switch (code & 0xff) {
    case SQLITE_FULL:
      return "The disk is full: the drive's database could not be written.";
    case SQLITE_READONLY:
      return "The drive's database could not be written.";
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return "The drive's database could not be opened.";
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
      return "The drive's database is damaged.";
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return "The drive's database is in use by another process.";
    default:
      return "The drive's database could not be read.";
  }
}

[[noreturn]] void fail(int code, const std::string& what, const std::string& detail) {
  replicaLog().error("SQLite failed (" + what + "): " + detail);
  const bool full = (code & 0xff) == SQLITE_FULL;
  throw ReplicaError(full ? ReplicaError::Kind::diskFull : ReplicaError::Kind::failed,
                     describe(code));
}

[[noreturn]] void fail(sqlite3* database, const std::string& what) {
  fail(sqlite3_extended_errcode(database), what, sqlite3_errmsg(database));
}

}  // namespace

SqlStatement::~SqlStatement() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

SqlStatement& SqlStatement::bind(int index, std::string_view text) {
  sqlite3_bind_text(statement_, index, text.data(), static_cast<int>(text.size()),
                    SQLITE_TRANSIENT);
  return *this;
}

SqlStatement& SqlStatement::bind(int index, std::int64_t number) {
  sqlite3_bind_int64(statement_, index, number);
  return *this;
}

SqlStatement& SqlStatement::bind(int index, const fp::Bytes& bytes) {
  sqlite3_bind_blob(statement_, index, bytes.data(), static_cast<int>(bytes.size()),
                    SQLITE_TRANSIENT);
  return *this;
}

SqlStatement& SqlStatement::bind(int index, const std::optional<double>& number) {
  if (!number) return bindNull(index);
  sqlite3_bind_double(statement_, index, *number);
  return *this;
}

SqlStatement& SqlStatement::bindNull(int index) {
  sqlite3_bind_null(statement_, index);
  return *this;
}

bool SqlStatement::step() {
  const int result = sqlite3_step(statement_);
  if (result == SQLITE_ROW) return true;
  if (result == SQLITE_DONE) return false;
  fail(sqlite3_db_handle(statement_), sqlite3_sql(statement_));
}

void SqlStatement::run() {
  while (step()) {
  }
}

bool SqlStatement::isNull(int column) const {
  return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::string SqlStatement::text(int column) const {
  const auto* text = sqlite3_column_text(statement_, column);
  if (!text) return {};
  return std::string(reinterpret_cast<const char*>(text),
                     static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)));
}

std::int64_t SqlStatement::integer(int column) const {
  return sqlite3_column_int64(statement_, column);
}

double SqlStatement::real(int column) const {
  return sqlite3_column_double(statement_, column);
}

fp::Bytes SqlStatement::bytes(int column) const {
  const auto* data = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_, column));
  if (!data) return {};
  return fp::Bytes(data, data + sqlite3_column_bytes(statement_, column));
}

SqlConnection::SqlConnection(const std::filesystem::path& file, bool readOnly) {
  const int flags = readOnly ? SQLITE_OPEN_READONLY : (SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  if (sqlite3_open_v2(file.c_str(), &database_, flags | SQLITE_OPEN_NOMUTEX, nullptr) !=
      SQLITE_OK) {
    const int code = database_ ? sqlite3_extended_errcode(database_) : SQLITE_NOMEM;
    const std::string message = database_ ? sqlite3_errmsg(database_) : "out of memory";
    sqlite3_close(database_);
    fail(code, "open " + file.string(), message);
  }
  sqlite3_busy_timeout(database_, 10000);
  if (readOnly) return;
  try {
    execute("PRAGMA journal_mode=WAL");
    // WAL with synchronous=NORMAL survives a killed process; only a machine crash may lose
    // the last transactions, never consistency.
    execute("PRAGMA synchronous=NORMAL");
    // A large listing writes in one transaction; with SQLite's 2 MiB default the page cache
    // spills to the log halfway through and reads it back.
    execute("PRAGMA cache_size=-16384");
  } catch (...) {
    // A file that is no database fails here; no destructor closes a half-made connection.
    sqlite3_close(database_);
    throw;
  }
}

SqlConnection::~SqlConnection() {
  for (auto& [sql, statement] : statements_)
    sqlite3_finalize(statement);
  sqlite3_close(database_);
}

void SqlConnection::execute(const std::string& sql) {
  char* error = nullptr;
  if (const int code = sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, &error);
      code != SQLITE_OK) {
    const std::string message = error ? error : sqlite3_errstr(code);
    sqlite3_free(error);
    fail(code, sql, message);
  }
}

SqlStatement SqlConnection::prepare(const std::string& sql) {
  auto found = statements_.find(sql);
  if (found == statements_.end()) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(database_, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement,
                           nullptr) != SQLITE_OK) {
      fail(database_, sql);
    }
    found = statements_.emplace(sql, statement).first;
  }
  return SqlStatement(found->second);
}

std::int64_t SqlConnection::lastInsertedRow() const {
  return sqlite3_last_insert_rowid(database_);
}

int SqlConnection::changes() const {
  return sqlite3_changes(database_);
}

bool SqlConnection::idle() const {
  return sqlite3_get_autocommit(database_) != 0;
}

SqlTransaction::SqlTransaction(SqlConnection& connection) : connection_(connection) {
  connection_.execute("BEGIN IMMEDIATE");
}

SqlTransaction::~SqlTransaction() {
  // A failed COMMIT may have rolled back already; a second ROLLBACK would only log noise.
  if (done_ || connection_.idle()) return;
  try {
    connection_.execute("ROLLBACK");
  } catch (const ReplicaError&) {
    // Nothing more to undo: SQLite rolls back on its own when the statement failed.
  }
}

void SqlTransaction::commit() {
  connection_.execute("COMMIT");
  done_ = true;
}

}  // namespace drive::replica
