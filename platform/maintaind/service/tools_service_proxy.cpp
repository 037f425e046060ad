// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/service/tools_service_proxy.h"

#include <atomic>
#include <utility>

#include "platform/ipc/stream_client.h"
#include "platform/someip/message.h"
#include "src/common/records/codec.h"

namespace qor::maintaind::proxy {
namespace {

template <class Response>
ara::core::Result<Response> DecodeAnswer(const ara::core::Result<ipc::StreamClient::Payload>& answer) {
  if (!answer.HasValue()) {
    return answer.Error();
  }
  Response response{};
  RecordReader reader(answer.Value());
  reader.Read(response);
  if (!reader.IsComplete()) {
    return ara::core::ErrorCode(static_cast<std::int32_t>(someip::ReturnCode::kMalformedMessage),
                                "the daemon's answer cannot be read beyond byte " + std::to_string(reader.Position()) +
                                    " of " + std::to_string(answer.Value().size()));
  }
  return response;
}

}  // namespace

/// One connection to the daemon and whether it still stands.
class QORMaintaindToolsServiceProxy::Connection {
 public:
  explicit Connection(const std::string& address) : client_(address, [isLost = isLost_] { *isLost = true; }) {}

  bool IsLost() const { return *isLost_; }
  ipc::StreamClient& Client() { return client_; }

 private:
  std::shared_ptr<std::atomic<bool>> isLost_ = std::make_shared<std::atomic<bool>>(false);  // the handler may run late
  ipc::StreamClient client_;
};

QORMaintaindToolsServiceProxy::QORMaintaindToolsServiceProxy(HandleType handle)
    : handle_(std::move(handle)), connection_(std::make_shared<Connection>(handle_.GetAddress())) {}

QORMaintaindToolsServiceProxy::~QORMaintaindToolsServiceProxy() = default;

std::shared_ptr<QORMaintaindToolsServiceProxy::Connection> QORMaintaindToolsServiceProxy::Connect() {
  const std::lock_guard lock(mutex_);
  if (connection_->IsLost()) {
    connection_ = std::make_shared<Connection>(handle_.GetAddress());
  }
  return connection_;
}

template <class Operation>
QORMaintaindToolsServiceProxy::Answer<Operation> QORMaintaindToolsServiceProxy::Call(
    const typename Operation::Request& request) {
  using Response = typename Operation::Response;
  const auto promise = std::make_shared<ara::core::Promise<Response>>();  // shared: a std::function must be copyable
  auto future = promise->get_future();
  Connect()->Client().Request(QORMaintaindToolsService::ServiceIdentifier, Operation::kMethodId, Encode(request),
                              [promise](const ara::core::Result<ipc::StreamClient::Payload>& answer) {
                                promise->SetResult(DecodeAnswer<Response>(answer));
                              });
  return future;
}

auto QORMaintaindToolsServiceProxy::QueryEventInfo(const std::string& name) -> Answer<operation::QueryEventInfo> {
  return Call<operation::QueryEventInfo>(name);
}

auto QORMaintaindToolsServiceProxy::QueryEventShow(const QueryDataTypeIndex& index)
    -> Answer<operation::QueryEventShow> {
  return Call<operation::QueryEventShow>(index);
}

auto QORMaintaindToolsServiceProxy::QuerySubNodeEventInfo(const QuerySubEventInfoIndex& index)
    -> Answer<operation::QuerySubNodeEventInfo> {
  return Call<operation::QuerySubNodeEventInfo>(index);
}

auto QORMaintaindToolsServiceProxy::QueryMethodInfo(const std::string& name) -> Answer<operation::QueryMethodInfo> {
  return Call<operation::QueryMethodInfo>(name);
}

auto QORMaintaindToolsServiceProxy::QueryMethodType(const QueryDataTypeIndex& index)
    -> Answer<operation::QueryMethodType> {
  return Call<operation::QueryMethodType>(index);
}

auto QORMaintaindToolsServiceProxy::QueryFieldInfo(const std::string& name) -> Answer<operation::QueryFieldInfo> {
  return Call<operation::QueryFieldInfo>(name);
}

auto QORMaintaindToolsServiceProxy::QueryServiceInfo(const std::string& name) -> Answer<operation::QueryServiceInfo> {
  return Call<operation::QueryServiceInfo>(name);
}

auto QORMaintaindToolsServiceProxy::QueryNodeInfo(const std::string& name) -> Answer<operation::QueryNodeInfo> {
  return Call<operation::QueryNodeInfo>(name);
}

auto QORMaintaindToolsServiceProxy::QueryAllDataType() -> Answer<operation::QueryAllDataType> {
  return Call<operation::QueryAllDataType>({});
}

auto QORMaintaindToolsServiceProxy::QueryDataType(const std::string& name) -> Answer<operation::QueryDataType> {
  return Call<operation::QueryDataType>(name);
}

auto QORMaintaindToolsServiceProxy::QueryDataTypeRefList() -> Answer<operation::QueryDataTypeRefList> {
  return Call<operation::QueryDataTypeRefList>({});
}

auto QORMaintaindToolsServiceProxy::QueryLatencyStatus(const LatencyIndex& index)
    -> Answer<operation::QueryLatencyStatus> {
  return Call<operation::QueryLatencyStatus>(index);
}

auto QORMaintaindToolsServiceProxy::QueryLatencyResult(const LatencyQueryInfo& query)
    -> Answer<operation::QueryLatencyResult> {
  return Call<operation::QueryLatencyResult>(query);
}

auto QORMaintaindToolsServiceProxy::SwitchLatencyMode(const LatencySwitch& change)
    -> Answer<operation::SwitchLatencyMode> {
  return Call<operation::SwitchLatencyMode>(change);
}

}  // namespace qor::maintaind::proxy
