// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/service/find_service.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <set>
#include <utility>

#include <asio/post.hpp>

#include "platform/ipc/io_thread.h"
#include "platform/ipc/runtime_dir.h"
#include "platform/ipc/unix_connect.h"
#include "platform/someip/endpoint.h"

namespace qor::maintaind::proxy {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kPollInterval{500};
constexpr milliseconds kBusyRetry{200};
/// After a probe has ended, in case that a new daemon had taken over the socket before.
constexpr milliseconds kTakeoverRetry{50};
constexpr std::uint32_t kNoPermissionLogMs = 10'000;

/// The sockets of daemons in the directory, by file name.
std::map<std::string, std::uint16_t> SocketsIn(const std::string& directory) {
  std::map<std::string, std::uint16_t> sockets;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(directory, error), end; !error && entry != end;
       entry.increment(error)) {
    std::string name = entry->path().filename().string();
    if (const auto instance = ipc::InstanceOfSocketName(name)) {
      sockets.emplace(std::move(name), *instance);
    }
  }
  return sockets;
}

/// The searches of the process.
struct Searches {
  std::mutex mutex;
  std::uint64_t lastId = 0;                                    // guarded by mutex
  std::map<std::uint64_t, std::shared_ptr<FindService>> byId;  // guarded by mutex
};

Searches& AllSearches() {
  static auto* const searches = new Searches;  // never destroyed: the io thread may outlive other statics
  return *searches;
}

}  // namespace

FindService::FindService(std::string directory, ara::com::InstanceIdentifier instance, Report report)
    : directory_(std::move(directory)),
      instance_(std::move(instance)),
      timer_(ipc::IoThread()),
      report_(std::move(report)) {}

void FindService::Start() {
  watch_ = std::make_shared<DirectoryWatch>(directory_, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) {
      self->Update();
    }
  });
  asio::post(ipc::IoThread(), [self = shared_from_this()] { self->Update(); });
}

void FindService::Stop() {
  {
    const std::lock_guard lock(reportMutex_);
    report_ = nullptr;
  }
  asio::post(ipc::IoThread(), [self = shared_from_this()] {
    self->timer_.cancel();
    self->watch_->Stop();
    self->daemons_.clear();
  });
}

/// Brings the list up to date with the directory and makes sure that the next change is noticed.
void FindService::Update() {
  if (const std::lock_guard lock(reportMutex_); report_ == nullptr) {
    return;
  }
  watch_->Start();
  Rescan();
  ReportChanges();
  if (!watch_->IsRunning()) {
    UpdateAfter(kPollInterval);
  } else if (IsBusy()) {
    UpdateAfter(kBusyRetry);
  }
}

void FindService::Rescan() {
  const auto sockets = SocketsIn(directory_);
  std::erase_if(daemons_, [&sockets](const auto& daemon) { return !sockets.contains(daemon.first); });
  for (const auto& [fileName, instance] : sockets) {
    Try(fileName, instance);
  }
}

/// Connects to a socket unless its probe stands.
void FindService::Try(const std::string& fileName, std::uint16_t instance) {
  const auto known = daemons_.find(fileName);
  if (known != daemons_.end() && known->second.probe != nullptr) {
    return;
  }
  const std::string path = directory_ + "/" + fileName;
  ipc::ConnectAttempt attempt = ipc::ConnectUnix(path);
  if (attempt.IsConnected() || attempt.IsBusy()) {
    daemons_.insert_or_assign(
        fileName,
        Daemon{Handle(instance, path), attempt.IsConnected() ? Probe(fileName, std::move(attempt.socket)) : nullptr});
    return;
  }
  daemons_.erase(fileName);
  if (attempt.error == EACCES || attempt.error == EPERM) {
    log_.Warn("FindService_Try", kNoPermissionLogMs)
        << "No permission to use the daemon's socket '" << path << "'; its group may.";
  }
}

std::unique_ptr<DaemonProbe> FindService::Probe(const std::string& fileName, ipc::UniqueFd connection) {
  return std::make_unique<DaemonProbe>(
      std::move(connection),
      [weak = weak_from_this(), fileName] {
        if (const auto self = weak.lock()) {
          self->OnProbeEnd(fileName);
        }
      },
      [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
          self->ReportChanges();
        }
      });
}

void FindService::OnProbeEnd(const std::string& fileName) {
  daemons_.erase(fileName);
  ReportChanges();
  UpdateAfter(kTakeoverRetry);
}

bool FindService::IsWanted(std::uint16_t instance) const {
  return instance_.IsAny() || instance_.ToString() == std::to_string(instance);
}

/// A daemon of another host counts once, whoever names it.
std::vector<FindService::Handle> FindService::Available() const {
  std::set<Handle> available;
  for (const auto& [fileName, daemon] : daemons_) {
    if (IsWanted(daemon.handle.GetInstanceId())) {
      available.insert(daemon.handle);
    }
    if (daemon.probe == nullptr) {
      continue;
    }
    for (const RemoteDaemon& remote : daemon.probe->RemoteDaemons()) {
      const auto address = someip::Ipv4Address::FromText(remote.address);
      if (IsWanted(remote.instance) && address && remote.port != 0) {
        available.emplace(remote.instance, someip::Endpoint{*address, remote.port}.Text());
      }
    }
  }
  return {available.begin(), available.end()};
}

void FindService::ReportChanges() {
  const std::vector<Handle> available = Available();
  if (reported_ == available) {
    return;
  }
  reported_ = available;
  const std::lock_guard lock(reportMutex_);
  if (report_ != nullptr) {
    const Report report = report_;  // a copy: the report may stop the search
    report(available);
  }
}

void FindService::UpdateAfter(milliseconds delay) {
  timer_.expires_after(delay);
  timer_.async_wait([self = shared_from_this()](const asio::error_code& error) {
    if (!error) {
      self->Update();
    }
  });
}

bool FindService::IsBusy() const {
  return std::any_of(daemons_.begin(), daemons_.end(),
                     [](const auto& daemon) { return daemon.second.probe == nullptr; });
}

ara::com::FindServiceHandle QORMaintaindToolsServiceProxy::StartFindService(
    ara::com::FindServiceHandler<HandleType> handler, const ara::com::InstanceIdentifier& instance) {
  Searches& searches = AllSearches();
  const std::lock_guard lock(searches.mutex);
  const ara::com::FindServiceHandle handle{++searches.lastId};
  const auto search = std::make_shared<FindService>(
      ipc::RuntimeDirectory(), instance,
      [handler = std::move(handler), handle](const std::vector<HandleType>& available) { handler(available, handle); });
  searches.byId.emplace(handle.id, search);
  search->Start();
  return handle;
}

void QORMaintaindToolsServiceProxy::StopFindService(ara::com::FindServiceHandle handle) {
  Searches& searches = AllSearches();
  std::shared_ptr<FindService> search;
  {
    const std::lock_guard lock(searches.mutex);
    if (auto found = searches.byId.extract(handle.id)) {
      search = std::move(found.mapped());
    }
  }
  if (search != nullptr) {
    search->Stop();
  }
}

}  // namespace qor::maintaind::proxy
