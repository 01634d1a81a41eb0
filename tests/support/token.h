// The device token by code of the tests' own.
#pragma once

#include <string>

std::string expectedMd5(const std::string &text);
std::string expectedToken(const std::string &text);
