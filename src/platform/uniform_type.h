#pragma once

#include <string>
#include <utility>

namespace fp {

// A uniform type identifier (UTType); conformance lives in the type registry.
class UniformType {
 public:
  explicit UniformType(std::string identifier) : identifier_(std::move(identifier)) {}
  static UniformType folder() { return UniformType("public.folder"); }
  static UniformType data() { return UniformType("public.data"); }

  const std::string& identifier() const { return identifier_; }
  bool operator==(const UniformType&) const = default;

 private:
  std::string identifier_;
};

}  // namespace fp
