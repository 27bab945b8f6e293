#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "zelvo/testing/testing_platform.h"

namespace zelvo::sim {

// The testing platform of a scenario, with two services replaced: UUID bytes come from a
// generator seeded by the world line, and every request the library starts is reported (with
// the clock still at the instant it was started) before the scripted client takes it. The
// scripted client itself stays reachable through http(); uuids() is not used.
class SimPlatform : public testing::TestingPlatform {
 public:
  using RequestObserver = std::function<void(const HttpRequest&)>;

  SimPlatform(double start, const std::string& zoneName, uint64_t seed, RequestObserver onRequest);

  UuidSource& uuidSource() override { return seededUuids_; }
  HttpClient& httpClient() override { return reporting_; }
  testing::SeededUuidSource& seededUuids() { return seededUuids_; }

 private:
  class ReportingHttpClient : public HttpClient {
   public:
    ReportingHttpClient(HttpClient& inner, RequestObserver onRequest)
        : inner_(inner), onRequest_(std::move(onRequest)) {}
    void startGet(HttpRequest request, HttpCompletion done) override {
      onRequest_(request);
      inner_.startGet(std::move(request), std::move(done));
    }
    std::optional<std::string> fetch(const std::string& url) override { return inner_.fetch(url); }
    bool acceptsUrl(std::string_view url) const override { return inner_.acceptsUrl(url); }

   private:
    HttpClient& inner_;
    RequestObserver onRequest_;
  };

  testing::SeededUuidSource seededUuids_;
  ReportingHttpClient reporting_;
};

}  // namespace zelvo::sim
