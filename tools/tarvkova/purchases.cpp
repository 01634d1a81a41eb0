#include <kova/platform.h>
#include <kova/services.h>

#include <algorithm>
#include <charconv>
#include <iomanip>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "common/terminal_text.h"
#include "tarvkova/commands.h"
#include "tarvkova/display_text.h"
#include "tarvkova/library_failure.h"
#include "tarvkova/spinner.h"
#include "tarvkova/streams.h"
#include "tarvkova/table.h"

namespace kova::cli {
namespace {

struct Options {
  std::optional<std::string> from, to;
  std::vector<std::string> apps, serials, prices, buyers;
  bool csv = false;
};

constexpr const char *kMembers[] = {"date",  "item",       "model",    "serial",
                                    "price", "pay_status", "buyer_id", "transaction_id"};

// The language of the device's user interface.
std::string userLanguage() {
  char language[32] = "";
  const int length = TLIBCFileGetKeyValue("/etc/tarvinfo.conf", "language", language, sizeof language, 0);
  return length > 0 ? language : "enu";
}

Json::Value filterFrom(const std::vector<std::string> &values) {
  Json::Value filter;
  for (const std::string &value : values) filter.append(value);
  return filter;
}

// The amount with `decimals` digits after the point, or with as many as it needs where `decimals` is negative.
std::string formatAmount(double value, int decimals = -1) {
  char text[1536];
  const auto end = decimals < 0 ? std::to_chars(text, text + sizeof text, value, std::chars_format::fixed)
                                : std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals);
  return {text, end.ptr};
}

int decimalPlaces(double value) {
  const std::string text = formatAmount(value);
  const std::size_t point = text.find('.');
  return point == std::string::npos ? 0 : static_cast<int>(std::min<std::size_t>(text.size() - point - 1, 6));
}

// The date without the time of day, if it has one.
std::string dateWithoutTime(const std::string &date) {
  constexpr std::size_t kDay = sizeof "2000-01-31" - 1;
  return date.size() > kDay && (date[kDay] == ' ' || date[kDay] == 'T') ? date.substr(0, kDay) : date;
}

void writeTable(std::ostream &out, const Json::Value &purchases) {
  int decimals = 2;
  double total = 0;
  for (const Json::Value &purchase : purchases) {
    decimals = std::max(decimals, decimalPlaces(purchase["price"].asDouble()));
    total += purchase["price"].asDouble();
  }
  Table table({{"DATE"},
               {"ITEM", 10},
               {"PRICE", 0, true},
               {"STATUS", 6},
               {"MODEL", 5},
               {"SERIAL", 6},
               {"BUYER", 6},
               {"TRANSACTION", 6}},
              [&](const UseRow &use) {
                for (const Json::Value &purchase : purchases) {
                  use({dateWithoutTime(displayText(purchase["date"])), displayText(purchase["item"]),
                       formatAmount(purchase["price"].asDouble(), decimals), displayText(purchase["pay_status"]),
                       displayText(purchase["model"]), displayText(purchase["serial"]),
                       displayText(purchase["buyer_id"]), displayText(purchase["transaction_id"])});
                }
              });
  const std::string count = std::to_string(purchases.size()) + (purchases.size() == 1 ? " purchase" : " purchases");
  table.setTotal({"Total", count, formatAmount(total, decimals), "", "", "", "", ""});
  table.write(out, outputWidth());
}

std::string csvField(const std::string &text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::ostringstream field;
  field << std::quoted(text, '"', '"');
  return field.str();
}

void writeCsv(std::ostream &out, const Json::Value &purchases) {
  const bool isTerminal = isOutputTerminal();
  const auto writeLine = [&](auto fieldOf) {
    const char *separator = "";
    for (const char *member : kMembers) {
      const std::string field = fieldOf(member);
      out << separator << csvField(isTerminal ? printable(field) : field);
      separator = ",";
    }
    out << '\n';
  };
  writeLine([](const char *member) { return std::string(member); });
  for (const Json::Value &purchase : purchases) {
    writeLine([&](const char *member) {
      const Json::Value &value = purchase[member];
      return value.isDouble() ? formatAmount(value.asDouble()) : displayText(value);
    });
  }
}

Report purchases(const Options &options) {
  if (options.from && options.to && *options.from > *options.to) {
    throw usageFailure("--from " + *options.from + " is after --to " + *options.to);
  }
  const std::string language = userLanguage();
  Report report;
  const int result = callWithSpinner([&] {
    return TARVKOVAAccountPurchaseList(language.c_str(), textOrNull(options.from), textOrNull(options.to),
                                       filterFrom(options.apps), filterFrom(options.serials),
                                       filterFrom(options.prices), filterFrom(options.buyers), report.result);
  });
  if (result < 0) throw libraryFailure();
  for (Json::Value &purchase : report.result["logs"]) {
    for (Json::Value &value : purchase) {
      if (!value.isDouble() && !value.isString() && !value.isNull()) value = displayText(value);
    }
  }
  report.writeText = [csv = options.csv](std::ostream &out, const Json::Value &result) {
    const Json::Value &list = result["logs"];
    if (csv) {
      writeCsv(out, list);
    } else if (list.empty()) {
      out << "No purchases.\n";
    } else {
      writeTable(out, list);
    }
  };
  return report;
}

}  // namespace

void addPurchases(Command program, ChosenCommand &chosen) {
  const auto [command, options] = addCommand(program, chosen, "purchases", "List the account's purchases", purchases);
  command.addOption("--from", options.from, "Purchases from this day on").typeName("YYYY-MM-DD").check(checkDate);
  command.addOption("--to", options.to, "Purchases up to this day").typeName("YYYY-MM-DD").check(checkDate);
  command.addOption("--app", options.apps, "Only this item");
  command.addOption("--serial", options.serials, "Only for the device with this serial number");
  command.addOption("--price", options.prices, "Only at this price, such as 29.99").check(checkPrice);
  command.addOption("--paypal", options.buyers, "Only by this buyer");
  command.addFlag("--csv", options.csv, "Print comma-separated values").excludes(program.find("--json"));
}

}  // namespace kova::cli
