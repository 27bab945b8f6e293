#include "zelvo/qt/qt_integration.h"

#include <QFile>
#include <QStandardPaths>

#include "qt/application_watch.h"
#include "zelvo/qt/network_information_source.h"

namespace zelvo::qt {
namespace {

// The application's data directory as Qt names it (from the organisation and application
// names), or <generic data directory>/<identifier> when the host names the application.
std::optional<std::string> dataStorePath(const portable::HostPlatformOptions& options) {
  const QString directory =
      options.applicationIdentifier
          ? QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u'/' +
                QString::fromStdString(*options.applicationIdentifier)
          : QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
  if (directory.isEmpty()) return std::nullopt;  // no home directory: the platform chooses
  return QFile::encodeName(directory + QLatin1String("/zelvo.sqlite")).toStdString();
}

}  // namespace

Integration::Integration(IntegrationOptions options)
    : loop_(std::make_shared<portable::ExternalRunLoop>()), source_(std::make_unique<QtLoopSource>(loop_)) {
  portable::HostPlatformOptions& platform = options.platform;
  if (!platform.mainRunLoop) platform.mainRunLoop = loop_;
  if (!platform.storePath) platform.storePath = dataStorePath(platform);
  if (options.networkInformation) {
    if (auto information = NetworkInformationSource::load()) {
      platform.reachability = portable::ReachabilityChoice::kHost;
      platform.reachabilitySource = std::move(information);
    }
  }
  if (options.qtNetwork && !platform.httpClient) {
    QtHttpClientOptions http;
    http.caFile = platform.caFile;
    http.requestTimeout = platform.requestTimeout;
    platform.httpClient = std::make_shared<QtHttpClient>(std::move(http));
  }
  platform_ = makeHostPlatform(std::move(platform));
  watch_ = std::make_unique<ApplicationWatch>(platform_);
}

Integration::~Integration() = default;

}  // namespace zelvo::qt
