// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_VISIT_H
#define QOR_COMMON_RECORDS_VISIT_H

#include <concepts>
#include <type_traits>

/// How records list their fields. Every record has one static function
///
///     template <class V, class... S>
///     static void Visit(V& visit, S&... record) {
///       visit("serviceId", record.serviceId...);
///       visit("instanceId", record.instanceId...);
///     }
///
/// in declared order, which is the order on the wire. Called with one record it feeds the codec and the JSON dump, with
/// two it compares them. Nothing else in the system lists fields.
namespace qor::maintaind {

namespace internal {

struct AnyVisitor {
  template <class... T>
  void operator()(const char* /*name*/, T&... /*fields*/) {}
};

/// Compares two records of one type field by field; stops looking after the first difference.
class EqualVisitor {
 public:
  template <class T>
  void operator()(const char* /*name*/, const T& left, const T& right) {
    isEqual_ = isEqual_ && left == right;
  }
  bool IsEqual() const { return isEqual_; }

 private:
  bool isEqual_ = true;
};

}  // namespace internal

template <class T>
concept Record = requires(T& record, internal::AnyVisitor& visitor) {
  T::Visit(visitor, record);
};

template <Record T>
bool operator==(const T& left, const T& right) {
  internal::EqualVisitor visitor;
  T::Visit(visitor, left, right);
  return visitor.IsEqual();
}

}  // namespace qor::maintaind

#endif
