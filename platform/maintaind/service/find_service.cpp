// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/service/find_service.h"

#include <sys/inotify.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include <asio/post.hpp>

#include "platform/ipc/io_thread.h"
#include "platform/ipc/runtime_dir.h"
#include "platform/ipc/unix_connect.h"

namespace qor::maintaind::proxy {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kPollInterval{500};
constexpr milliseconds kBusyRetry{200};
/// After a probe has ended, in case that a new daemon had taken over the socket before.
constexpr milliseconds kTakeoverRetry{50};
constexpr std::uint32_t kNoPermissionLogMs = 10'000;

/// A daemon binds its socket, listens, and then sets the mode: the last step shows up as a change of attributes.
constexpr std::uint32_t kWatchMask =
    IN_CREATE | IN_ATTRIB | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr std::uint32_t kWatchEndMask = IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT;

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

bool HoldsWatchEnd(const char* events, std::size_t size) {
  for (std::size_t at = 0; at + sizeof(inotify_event) <= size;) {
    inotify_event event{};
    std::memcpy(&event, events + at, sizeof(event));
    if ((event.mask & kWatchEndMask) != 0) {
      return true;
    }
    at += sizeof(event) + event.len;
  }
  return false;
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
      watch_(ipc::IoThread()),
      timer_(ipc::IoThread()),
      report_(std::move(report)) {}

void FindService::Start() {
  asio::post(ipc::IoThread(), [self = shared_from_this()] { self->Update(); });
}

void FindService::Stop() {
  {
    const std::lock_guard lock(reportMutex_);
    report_ = nullptr;
  }
  asio::post(ipc::IoThread(), [self = shared_from_this()] {
    self->timer_.cancel();
    self->StopWatching();
    self->daemons_.clear();
  });
}

/// Brings the list up to date with the directory and makes sure that the next change is noticed.
void FindService::Update() {
  if (const std::lock_guard lock(reportMutex_); report_ == nullptr) {
    return;
  }
  if (!watch_.is_open()) {
    StartWatching();
  }
  Rescan();
  ReportChanges();
  if (!watch_.is_open()) {
    UpdateAfter(kPollInterval);
  } else if (IsBusy()) {
    UpdateAfter(kBusyRetry);
  }
}

void FindService::StartWatching() {
  ipc::UniqueFd inotify(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (!inotify || ::inotify_add_watch(inotify.Get(), directory_.c_str(), kWatchMask) < 0) {
    return;
  }
  asio::error_code error;
  watch_.assign(inotify.Get(), error);
  if (!error) {
    static_cast<void>(inotify.Release());  // the watch's now
    ReadWatch();
  }
}

void FindService::ReadWatch() {
  watch_.async_read_some(asio::buffer(watchBuffer_),
                         [self = shared_from_this()](const asio::error_code& error, std::size_t size) {
                           if (error == asio::error::operation_aborted) {
                             return;
                           }
                           if (error || HoldsWatchEnd(self->watchBuffer_.data(), size)) {
                             self->StopWatching();
                           } else {
                             self->ReadWatch();
                           }
                           self->Update();
                         });
}

void FindService::StopWatching() {
  asio::error_code ignored;
  watch_.close(ignored);
}

void FindService::Rescan() {
  const auto sockets = SocketsIn(directory_);
  std::erase_if(daemons_, [&sockets](const auto& daemon) { return !sockets.contains(daemon.first); });
  for (const auto& [fileName, instance] : sockets) {
    if (instance_.IsAny() || instance_.ToString() == std::to_string(instance)) {
      Try(fileName, instance);
    }
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
    Daemon daemon{Handle(instance, path), nullptr};
    if (attempt.IsConnected()) {
      auto probe = std::make_unique<asio::local::stream_protocol::socket>(ipc::IoThread());
      asio::error_code error;
      probe->assign(asio::local::stream_protocol(), attempt.socket.Get(), error);
      if (!error) {
        static_cast<void>(attempt.socket.Release());  // the probe's now
        daemon.probe = std::move(probe);
      }
    }
    daemons_.insert_or_assign(fileName, std::move(daemon));
    WatchProbe(fileName);
    return;
  }
  daemons_.erase(fileName);
  if (attempt.error == EACCES || attempt.error == EPERM) {
    log_.Warn("FindService_Try", kNoPermissionLogMs)
        << "No permission to use the daemon's socket '" << path << "'; its group may.";
  }
}

/// Nothing is ever sent to a probe, so whatever can be read from it is its end.
void FindService::WatchProbe(const std::string& fileName) {
  const auto& probe = daemons_.at(fileName).probe;
  if (probe == nullptr) {
    return;
  }
  probe->async_wait(asio::socket_base::wait_read, [self = shared_from_this(), fileName](const asio::error_code& error) {
    if (error == asio::error::operation_aborted) {
      return;
    }
    self->daemons_.erase(fileName);
    self->ReportChanges();
    self->UpdateAfter(kTakeoverRetry);
  });
}

void FindService::ReportChanges() {
  std::vector<Handle> available;
  for (const auto& [fileName, daemon] : daemons_) {
    available.push_back(daemon.handle);
  }
  std::sort(available.begin(), available.end());
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
