// SPDX-License-Identifier: Apache-2.0
#include "src/common/tools_common_client_manager.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <thread>
#include <utility>

namespace qor::qortools::common {
namespace {

constexpr std::chrono::milliseconds kFirstReportsWait{200};

template <class Handles>
std::string JoinInstanceIds(const Handles& handles) {
  std::string text;
  for (const ToolsServiceHandle& handle : handles) {
    text += text.empty() ? "" : "&&";
    text += std::to_string(handle.GetInstanceId());
  }
  return text;
}

}  // namespace

std::shared_ptr<ToolsCommonClientManager> ToolsCommonClientManager::GetInstance() {
  // Never destroyed: the search reports on a thread that runs until the process ends.
  static const auto& instance =
      *new std::shared_ptr<ToolsCommonClientManager>(std::make_shared<ToolsCommonClientManager>());
  return instance;
}

ToolsCommonClientManager::~ToolsCommonClientManager() { StopFindMaintaindService(); }

void ToolsCommonClientManager::FindMaintaindService() {
  std::call_once(searchOnce_, [this] {
    log_.Debug() << "Qortools start to find maintaind service.";
    const ara::com::FindServiceHandle search = ToolsServiceProxy::StartFindService(
        [this](const ara::com::ServiceHandleContainer<ToolsServiceHandle>& handles, ara::com::FindServiceHandle) {
          ServiceAvailabilityCallback(handles);
        },
        ara::com::InstanceIdentifier("65535"));
    {
      const std::lock_guard lock(mutex_);
      search_ = search;
      isSearchStarted_ = true;
    }
    std::this_thread::sleep_for(kFirstReportsWait);
  });
}

void ToolsCommonClientManager::StopFindMaintaindService() {
  ara::com::FindServiceHandle search;
  {
    const std::lock_guard lock(mutex_);
    if (!std::exchange(isSearchStarted_, false)) {
      return;
    }
    search = search_;
  }
  ToolsServiceProxy::StopFindService(search);  // waits for a callback under way, which needs the mutex
}

void ToolsCommonClientManager::ServiceAvailabilityCallback(
    const ara::com::ServiceHandleContainer<ToolsServiceHandle>& handles) {
  const std::set<ToolsServiceHandle> online(handles.begin(), handles.end());
  const std::lock_guard lock(mutex_);
  std::vector<ToolsServiceHandle> appeared;
  std::ranges::set_difference(online, handles_, std::back_inserter(appeared));
  std::vector<ToolsServiceHandle> disappeared;
  std::ranges::set_difference(handles_, online, std::back_inserter(disappeared));
  for (const ToolsServiceHandle& handle : disappeared) {
    handles_.erase(handle);
  }
  handles_.insert(appeared.begin(), appeared.end());
}

void ToolsCommonClientManager::UpdateAndCreateProxyList() {
  ProxyList dropped;  // destroyed after the mutex is free: closing a connection may wait for the callback's thread
  const std::lock_guard lock(mutex_);
  std::vector<ToolsServiceHandle> created;
  for (const ToolsServiceHandle& handle : handles_) {
    if (!proxies_.contains(handle)) {
      proxies_.emplace(handle, std::make_shared<ToolsServiceProxy>(handle));
      created.push_back(handle);
    }
  }
  if (!created.empty()) {
    log_.Debug() << "Create maintaind service proxylist.[instanceList=" << JoinInstanceIds(created) << "]";
  }
  std::erase_if(proxies_, [&](auto& entry) {
    const bool isOffline = !handles_.contains(entry.first);
    if (isOffline) {
      log_.Debug() << "Clear offline proxy[maintaindInstance=" << entry.first.GetInstanceId() << "]";
      dropped.push_back(std::move(entry.second));
    }
    return isOffline;
  });
}

ProxyList ToolsCommonClientManager::GetCurrentProxyList() {
  UpdateAndCreateProxyList();
  const std::lock_guard lock(mutex_);
  ProxyList proxies;
  proxies.reserve(proxies_.size());
  for (const auto& [handle, proxy] : proxies_) {
    proxies.push_back(proxy);
  }
  return proxies;
}

std::size_t ToolsCommonClientManager::GetProxyListSize() { return GetCurrentProxyList().size(); }

void ToolsCommonClientManager::PrintOnlineMaintaindService() {
  const std::lock_guard lock(mutex_);
  log_.Debug() << "Print online maintaind service.[instanceList=" << JoinInstanceIds(handles_) << "]";
}

}  // namespace qor::qortools::common
