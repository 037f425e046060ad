// SPDX-License-Identifier: Apache-2.0
#ifndef ARA_COM_FIND_SERVICE_H
#define ARA_COM_FIND_SERVICE_H

#include <compare>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace ara::com {

/// The instance of a service as text; "65535" means any instance.
class InstanceIdentifier {
 public:
  explicit InstanceIdentifier(std::string text) : text_(std::move(text)) {}

  const std::string& ToString() const noexcept { return text_; }
  bool IsAny() const { return text_ == "65535"; }

  auto operator<=>(const InstanceIdentifier&) const = default;

 private:
  std::string text_;
};

/// Names one running search, so that it can be stopped.
struct FindServiceHandle {
  std::uint64_t id = 0;

  auto operator<=>(const FindServiceHandle&) const = default;
};

template <class Handle>
using ServiceHandleContainer = std::vector<Handle>;

/// Called with the complete list of available instances: once soon after the search starts and again on every change.
/// Runs on the middleware's thread.
template <class Handle>
using FindServiceHandler = std::function<void(ServiceHandleContainer<Handle>, FindServiceHandle)>;

}  // namespace ara::com

#endif
