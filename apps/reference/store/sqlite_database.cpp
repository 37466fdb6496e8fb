#include "reference/store/sqlite_database.h"

namespace drive::reference {
Statement::Statement(Database& database, std::string sql, sqlite3_stmt* statement)
    : database_(database), sql_(std::move(sql)), statement_(statement) {}

Statement::~Statement() {
  database_.giveBack(std::move(sql_), statement_);
}

Statement& Statement::bind(int index, std::string_view text) {
  database_.check(sqlite3_bind_text64(statement_, index, text.data(), text.size(), SQLITE_TRANSIENT,
                                      SQLITE_UTF8),
                  "bind");
  return *this;
}

Statement& Statement::bind(int index, const std::optional<std::string>& text) {
  if (!text) {
    database_.check(sqlite3_bind_null(statement_, index), "bind");
    return *this;
  }
  return bind(index, std::string_view(*text));
}

Statement& Statement::bind(int index, std::int64_t number) {
  database_.check(sqlite3_bind_int64(statement_, index, number), "bind");
  return *this;
}

Statement& Statement::bind(int index, const std::optional<std::int64_t>& number) {
  if (!number) {
    database_.check(sqlite3_bind_null(statement_, index), "bind");
    return *this;
  }
  return bind(index, *number);
}

Statement& Statement::bind(int index, const std::optional<bool>& flag) {
  if (!flag) return bind(index, std::optional<std::int64_t>());
  return bind(index, std::int64_t{*flag ? 1 : 0});
}

bool Statement::step() {
  const int status = sqlite3_step(statement_);
  database_.check(status, "step");
  return status == SQLITE_ROW;
}

void Statement::run() {
  while (step()) {
  }
}

std::string Statement::text(int column) const {
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
  if (bytes == nullptr) return {};
  return std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)));
}

std::optional<std::string> Statement::optionalText(int column) const {
  if (sqlite3_column_type(statement_, column) == SQLITE_NULL) return std::nullopt;
  return text(column);
}

std::int64_t Statement::integer(int column) const {
  return sqlite3_column_int64(statement_, column);
}

std::optional<std::int64_t> Statement::optionalInteger(int column) const {
  if (sqlite3_column_type(statement_, column) == SQLITE_NULL) return std::nullopt;
  return integer(column);
}

std::optional<bool> Statement::optionalFlag(int column) const {
  const auto number = optionalInteger(column);
  if (!number) return std::nullopt;
  return *number != 0;
}

Database::Database(const std::filesystem::path& file) {
  const int status =
      sqlite3_open_v2(file.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  if (status != SQLITE_OK) {
    const std::string why = db_ ? sqlite3_errmsg(db_) : "out of memory";
    sqlite3_close(db_);
    throw DatabaseError("cannot open " + file.string() + ": " + why);
  }
  sqlite3_busy_timeout(db_, 5000);
  // WAL keeps every committed change across a kill; NORMAL syncs at checkpoints only.
  execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; PRAGMA foreign_keys=ON;");
}

Database::~Database() {
  for (const auto& [sql, statement] : idle_)
    sqlite3_finalize(statement);
  sqlite3_close(db_);
}

Statement Database::prepare(std::string_view sql) {
  std::string text(sql);
  sqlite3_stmt* statement = nullptr;
  if (auto cached = idle_.find(text); cached != idle_.end()) {
    statement = cached->second;
    idle_.erase(cached);
  } else {
    check(sqlite3_prepare_v3(db_, text.data(), static_cast<int>(text.size()),
                             SQLITE_PREPARE_PERSISTENT, &statement, nullptr),
          "prepare");
  }
  return Statement(*this, std::move(text), statement);
}

void Database::check(int status, std::string_view what) const {
  if (status == SQLITE_OK || status == SQLITE_ROW || status == SQLITE_DONE) return;
  throw DatabaseError(std::string(what) + ": " + sqlite3_errmsg(db_));
}

void Database::giveBack(std::string sql, sqlite3_stmt* statement) {
  sqlite3_reset(statement);
  sqlite3_clear_bindings(statement);
  // A second copy of a statement that was in use twice at once is not kept.
  if (!idle_.try_emplace(std::move(sql), statement).second) sqlite3_finalize(statement);
}

void Database::execute(std::string_view sql) {
  char* message = nullptr;
  const int status = sqlite3_exec(db_, std::string(sql).c_str(), nullptr, nullptr, &message);
  if (status != SQLITE_OK) {
    const std::string why = message ? message : sqlite3_errstr(status);
    sqlite3_free(message);
    throw DatabaseError("execute: " + why);
  }
}

Transaction::Transaction(Database& database) : database_(database) {
  database_.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (done_) return;
  try {
    database_.execute("ROLLBACK");
  } catch (const DatabaseError&) {
    // Nothing left to undo: SQLite already rolled back after the error.
  }
}

void Transaction::commit() {
  database_.execute("COMMIT");
  done_ = true;
}

}  // namespace drive::reference
