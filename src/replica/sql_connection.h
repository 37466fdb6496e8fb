#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/item.h"

namespace drive::replica {

class SqlConnection;

// A prepared statement borrowed from its connection's cache; reset when it goes out of scope.
// Parameters bind by position from 1, columns read from 0.
class SqlStatement {
 public:
  explicit SqlStatement(sqlite3_stmt* statement) : statement_(statement) {}
  ~SqlStatement();
  SqlStatement(const SqlStatement&) = delete;
  SqlStatement& operator=(const SqlStatement&) = delete;

  SqlStatement& bind(int index, std::string_view text);
  SqlStatement& bind(int index, std::int64_t number);
  SqlStatement& bind(int index, std::uint64_t number) {
    return bind(index, static_cast<std::int64_t>(number));
  }
  SqlStatement& bind(int index, int number) { return bind(index, std::int64_t{number}); }
  SqlStatement& bind(int index, bool flag) { return bind(index, std::int64_t{flag ? 1 : 0}); }
  SqlStatement& bind(int index, const fp::Bytes& bytes);
  SqlStatement& bind(int index, const std::optional<double>& number);
  SqlStatement& bindNull(int index);

  // True while a row is available.
  bool step();
  void run();

  bool isNull(int column) const;
  std::string text(int column) const;
  std::int64_t integer(int column) const;
  double real(int column) const;
  fp::Bytes bytes(int column) const;

 private:
  sqlite3_stmt* statement_;
};

// One SQLite connection in WAL mode whose statements stay prepared. Not thread-safe: the
// owner serialises access.
class SqlConnection {
 public:
  // Throws ReplicaError(failed) when the database cannot be opened.
  SqlConnection(const std::filesystem::path& file, bool readOnly);
  ~SqlConnection();
  SqlConnection(const SqlConnection&) = delete;
  SqlConnection& operator=(const SqlConnection&) = delete;

  void execute(const std::string& sql);
  SqlStatement prepare(const std::string& sql);
  std::int64_t lastInsertedRow() const;
  int changes() const;
  // No transaction is open.
  bool idle() const;

 private:
  sqlite3* database_ = nullptr;
  std::map<std::string, sqlite3_stmt*, std::less<>> statements_;
};

// BEGIN IMMEDIATE … COMMIT, rolled back when the scope is left by an exception.
class SqlTransaction {
 public:
  explicit SqlTransaction(SqlConnection& connection);
  ~SqlTransaction();
  SqlTransaction(const SqlTransaction&) = delete;
  SqlTransaction& operator=(const SqlTransaction&) = delete;
  void commit();

 private:
  SqlConnection& connection_;
  bool done_ = false;
};

}  // namespace drive::replica
