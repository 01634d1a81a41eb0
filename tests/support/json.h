// JSON in the tests.
#pragma once

#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/writer.h>

#include <sstream>
#include <string>

inline Json::Value parsed(const std::string &text) {
  std::istringstream stream(text);
  Json::Value value;
  std::string errors;
  EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, &errors)) << errors << text;
  return value;
}
