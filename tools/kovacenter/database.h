// The service's SQLite database: how it is opened, and statements with bound values.
#pragma once

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>
#include <SQLiteCpp/VariadicBind.h>

#include <filesystem>
#include <string>

namespace kova::center {

// Opens the file, or makes it, readable by its owner only.
SQLite::Database openDatabase(const std::filesystem::path &file);

// A statement whose parameters are bound to the values, in their order. It must end before the database does.
template <class... Values>
SQLite::Statement prepare(const SQLite::Database &database, const std::string &sql, const Values &...values) {
  SQLite::Statement statement(database, sql);
  SQLite::bind(statement, values...);
  return statement;
}

// Runs a statement that returns no rows. Returns the number of rows that it changed.
template <class... Values>
int execute(SQLite::Database &database, const std::string &sql, const Values &...values) {
  return prepare(database, sql, values...).exec();
}

// Begins a transaction that is going to write: it waits for other writers here, so that its statements need not wait.
// Without commit(), nothing of it happens.
SQLite::Transaction beginTransaction(SQLite::Database &database);

}  // namespace kova::center
