// SQLite: a connection, statements with bound values, transactions.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace kova::center {

class Statement {
 public:
  Statement(sqlite3 *connection, std::string_view sql);

  // Binds the values to the parameters, in their order.
  template <class... Values>
  Statement &bind(const Values &...values) {
    int index = 0;
    (bindOne(++index, values), ...);
    return *this;
  }

  // Goes to the next row; false after the last.
  bool step();

  std::string text(int column) const;
  int64_t integer(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
  };

  void bindOne(int index, std::string_view value);
  void bindOne(int index, int64_t value);
  void check(int result) const;

  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

class Database {
 public:
  // Opens the file, or makes it, readable by its owner only.
  explicit Database(const std::filesystem::path &file);

  template <class... Values>
  Statement query(std::string_view sql, const Values &...values) {
    Statement statement(connection_.get(), sql);
    statement.bind(values...);
    return statement;
  }

  // Runs a statement to its end; returns the number of rows changed.
  template <class... Values>
  int run(std::string_view sql, const Values &...values) {
    Statement statement = query(sql, values...);
    while (statement.step()) continue;
    return sqlite3_changes(connection_.get());
  }

  int64_t lastInsertId() const { return sqlite3_last_insert_rowid(connection_.get()); }

 private:
  struct Close {
    void operator()(sqlite3 *connection) const { sqlite3_close_v2(connection); }
  };
  std::unique_ptr<sqlite3, Close> connection_;
};

// Everything from here to commit() happens, or nothing.
class Transaction {
 public:
  explicit Transaction(Database &database);
  ~Transaction();
  Transaction(const Transaction &) = delete;
  Transaction &operator=(const Transaction &) = delete;

  void commit();

 private:
  Database &database_;
  bool open_ = true;
};

}  // namespace kova::center
