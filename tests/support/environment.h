// An environment variable that holds for a scope.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

// Null takes the variable away. Windows does so for an empty value too.
inline void SetEnvironment(const char* key, const char* value) {
#if defined(_WIN32)
  _putenv_s(key, value == nullptr ? "" : value);
#else
  value == nullptr ? unsetenv(key) : setenv(key, value, 1);
#endif
}

class EnvironmentValue {
 public:
  EnvironmentValue(const char* key, const char* value) : key_(key) {
    if (const char* before = std::getenv(key)) before_ = before;
    SetEnvironment(key, value);
  }
  EnvironmentValue(const EnvironmentValue&) = delete;
  EnvironmentValue& operator=(const EnvironmentValue&) = delete;
  ~EnvironmentValue() { SetEnvironment(key_, before_ ? before_->c_str() : nullptr); }

 private:
  const char* key_;
  std::optional<std::string> before_;
};
