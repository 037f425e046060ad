// SPDX-License-Identifier: Apache-2.0
// How fast payloads become text. "numbers": a structure of 1,000 doubles and 1,000 unsigned integers against a bare
// loop of std::to_chars over the same values into one string. "nested": a structure of 50 nested small members against
// a walk of the same values over a std::ostringstream. "allocations" of each: for one payload, once warm.
#include <benchmark/benchmark.h>

#include <atomic>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "src/datatype/qor_deserializer.h"

namespace {

std::atomic<std::uint64_t> allocationCount = 0;

}  // namespace

// Not inlined: the compiler would take new and free for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
  allocationCount.fetch_add(1, std::memory_order_relaxed);
  if (void* memory = std::malloc(size)) {
    return memory;
  }
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace {

constexpr int kNumbers = 1000;
constexpr int kMembers = 50;

std::string Member(const std::string& name, const std::string& type) {
  return R"({"Name": ")" + name + R"(", "Type": ")" + type + R"("})";
}

std::string Structure(const std::string& name, const std::vector<std::string>& members) {
  std::string text = R"({"ShortName": ")" + name + R"(", "Type": "STRUCTURE", "Subelements": [)";
  for (const std::string& member : members) {
    text += (&member == &members.front() ? "" : ",") + member;
  }
  return text + "]}";
}

bool Definitions(qor::datatype::DefinitionTexts& texts) {
  std::vector<std::string> numbers;
  for (int i = 0; i < kNumbers; ++i) {
    numbers.push_back(Member("d" + std::to_string(i), "double"));
    numbers.push_back(Member("u" + std::to_string(i), "uint32"));
  }
  texts["Numbers"] = Structure("Numbers", numbers);
  texts["Small"] = Structure("Small", {Member("id", "uint16"), Member("level", "int32"), Member("isOn", "bool")});
  std::vector<std::string> members;
  for (int i = 0; i < kMembers; ++i) {
    members.push_back(Member("part" + std::to_string(i), "Small"));
  }
  texts["Nested"] = Structure("Nested", members);
  return true;
}

template <class T>
void Put(std::vector<std::uint8_t>& bytes, T value) {
  const std::size_t at = bytes.size();
  bytes.resize(at + sizeof(T));
  std::memcpy(&bytes[at], &value, sizeof(T));
}

std::vector<std::uint8_t> NumbersPayload() {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> reals(-1000.0, 1000.0);
  std::vector<std::uint8_t> bytes;
  for (int i = 0; i < kNumbers; ++i) {
    Put(bytes, reals(random));
    Put(bytes, static_cast<std::uint32_t>(random()));
  }
  return bytes;
}

std::vector<std::uint8_t> NestedPayload() {
  std::mt19937 random(1);
  std::vector<std::uint8_t> bytes;
  for (int i = 0; i < kMembers; ++i) {
    Put(bytes, static_cast<std::uint16_t>(random()));
    Put(bytes, static_cast<std::int32_t>(random()));
    Put(bytes, static_cast<std::uint8_t>(random() % 2));
  }
  return bytes;
}

template <class T>
T Get(const std::uint8_t*& at) {
  T value;
  std::memcpy(&value, at, sizeof(T));
  at += sizeof(T);
  return value;
}

void Render(benchmark::State& state, const char* type, const std::vector<std::uint8_t>& payload) {
  qor::QorDeserializer deserializer(
      qor::QorDeserializer::Protocol::kDds, Definitions, qor::QorDeserializer::DeserializeType::kPadded,
      qor::maintaind::StructSerializationPolicy::kAlignOuterLayer, qor::QorDeserializer::FormatType::kOneLine);
  std::string text;
  for (int warmUp = 0; warmUp < 2; ++warmUp) {
    text.clear();
    if (!deserializer.Deserialize(type, "e", payload, {}, text)) {
      state.SkipWithError("the payload cannot be rendered");
    }
  }
  const std::string name = type;
  const std::uint64_t before = allocationCount.load();
  std::uint64_t samples = 0;
  for (auto unused : state) {
    text.clear();
    deserializer.Deserialize(name, "e", payload, {}, text);
    benchmark::DoNotOptimize(text.data());
    ++samples;
  }
  state.counters["allocations"] = static_cast<double>(allocationCount.load() - before) / static_cast<double>(samples);
}

void NumbersByPlan(benchmark::State& state) { Render(state, "Numbers", NumbersPayload()); }
void NestedByPlan(benchmark::State& state) { Render(state, "Nested", NestedPayload()); }

void NumbersByToChars(benchmark::State& state) {
  const auto payload = NumbersPayload();
  std::string text;
  for (auto unused : state) {
    text.clear();
    const std::uint8_t* at = payload.data();
    char digits[320];
    for (int i = 0; i < kNumbers; ++i) {
      text.append(digits,
                  std::to_chars(digits, digits + sizeof(digits), Get<double>(at), std::chars_format::fixed, 6).ptr);
      text.append(digits, std::to_chars(digits, digits + sizeof(digits), Get<std::uint32_t>(at)).ptr);
    }
    benchmark::DoNotOptimize(text.data());
  }
}

void NestedByStream(benchmark::State& state) {
  const auto payload = NestedPayload();
  for (auto unused : state) {
    std::ostringstream stream;
    stream << std::fixed << "{ \"e\" : { ";
    const std::uint8_t* at = payload.data();
    for (int i = 0; i < kMembers; ++i) {
      stream << (i == 0 ? "" : ", ") << "\"part" << i << "\" : { \"id\" : " << Get<std::uint16_t>(at);
      stream << ", \"level\" : " << Get<std::int32_t>(at);
      stream << ", \"isOn\" : " << static_cast<int>(Get<std::uint8_t>(at)) << " }";
    }
    stream << " } }";
    benchmark::DoNotOptimize(stream.str());
  }
}

BENCHMARK(NumbersByToChars);
BENCHMARK(NumbersByPlan);
BENCHMARK(NestedByStream);
BENCHMARK(NestedByPlan);

}  // namespace
