// The service's SQLite database: how it is opened, and statements with bound values.
#pragma once

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

// Runs such a statement that has no result; returns the number of rows changed.
template <class... Values>
int execute(const SQLite::Database &database, const std::string &sql, const Values &...values) {
  return prepare(database, sql, values...).exec();
}

// Begins a transaction that may write, and so waits here for other writers and not half-way. Everything up to its
// commit() happens, or nothing.
SQLite::Transaction beginTransaction(SQLite::Database &database);

}  // namespace kova::center
