// An environment variable that holds for a scope.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

class EnvironmentValue {
 public:
  EnvironmentValue(const char* key, const char* value) : key_(key) {
    if (const char* before = std::getenv(key)) before_ = before;
    Set(value);
  }
  EnvironmentValue(const EnvironmentValue&) = delete;
  EnvironmentValue& operator=(const EnvironmentValue&) = delete;
  ~EnvironmentValue() { Set(before_ ? before_->c_str() : nullptr); }

 private:
  void Set(const char* value) {
#if defined(_WIN32)
    _putenv_s(key_, value == nullptr ? "" : value);
#else
    value == nullptr ? unsetenv(key_) : setenv(key_, value, 1);
#endif
  }
  const char* key_;
  std::optional<std::string> before_;
};
