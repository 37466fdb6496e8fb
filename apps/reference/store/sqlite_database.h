#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>

namespace drive::reference {

class DatabaseError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Database;

// One prepared statement; parameters are bound by position (1-based), columns read by index.
// It goes back to its database's cache when done.
class Statement {
 public:
  Statement(Database& database, std::string sql, sqlite3_stmt* statement);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(int index, std::string_view text);
  Statement& bind(int index, const std::string& text) {
    return bind(index, std::string_view(text));
  }
  Statement& bind(int index, const std::optional<std::string>& text);
  Statement& bind(int index, std::int64_t number);
  Statement& bind(int index, const std::optional<std::int64_t>& number);
  Statement& bind(int index, const std::optional<bool>& flag);

  // True while a row is available.
  bool step();
  // Runs a statement that returns no rows.
  void run();

  std::string text(int column) const;
  std::optional<std::string> optionalText(int column) const;
  std::int64_t integer(int column) const;
  std::optional<std::int64_t> optionalInteger(int column) const;
  std::optional<bool> optionalFlag(int column) const;

 private:
  Database& database_;
  std::string sql_;
  sqlite3_stmt* statement_;
};

// A SQLite connection that keeps its statements prepared; one thread at a time (the owner
// serialises access).
class Database {
 public:
  explicit Database(const std::filesystem::path& file);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  void execute(std::string_view sql);
  Statement prepare(std::string_view sql);
  std::int64_t changes() const { return sqlite3_changes64(db_); }

 private:
  friend class Statement;
  void check(int status, std::string_view what) const;
  void giveBack(std::string sql, sqlite3_stmt* statement);

  sqlite3* db_ = nullptr;
  // Idle statements by their text; one in use is out of the map until it is given back.
  std::unordered_map<std::string, sqlite3_stmt*> idle_;
};

// Commits on commit(), rolls back when left without it (an exception on the way).
class Transaction {
 public:
  explicit Transaction(Database& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  void commit();

 private:
  Database& database_;
  bool done_ = false;
};

}  // namespace drive::reference
