// Operations on the service against libcurl alone, making the same requests with the same options on fresh handles.
#include <kova/session.h>

#include <functional>
#include <string>
#include <vector>

#include "bench/hooks.h"
#include "bench/measures.h"
#include "bench/timing.h"

namespace bench {
namespace {

void compare(const char *name, const std::function<void()> &operation, unsigned samples, double mark, Table &table) {
  const std::vector<Transfer> transfers = transfersOf(operation);
  const auto bare = [&] {
    for (const Transfer &transfer : transfers) repeat(transfer);
  };
  const std::vector<double> times = medianTimes({{operation}, {bare}}, samples);
  const std::string requests = transfers.size() == 1 ? "1 request" : std::to_string(transfers.size()) + " requests";
  table.addTimes(std::string(name) + " / " + requests + " by libcurl", times[0], times[1], mark);
}

}  // namespace

void measureSession(const Setting &setting, Table &table) {
  const char *email = setting.email.c_str();
  const char *password = setting.password.c_str();
  const auto authen = [&] {
    Json::Value reply;
    require(TARVKOVAAccountAuthen(email, password, nullptr, reply) == 0, "authentication");
  };
  const auto login = [&] {
    Json::Value reply;
    require(TARVKOVAAccountLogin(email, password, reply, false) == 0, "login");
  };
  const auto query = [&] {
    Json::Value profile;
    require(TARVKOVAAccountQueryInfo(profile, true, true) == 0, "refreshed query");
  };
  login();  // the service knows the API key from here on
  const unsigned samples = setting.samples(151);
  compare("authentication", authen, samples, 1.03, table);
  compare("refreshed query", query, samples, 1.05, table);
  compare("login", login, samples, 1.05, table);
}

}  // namespace bench
