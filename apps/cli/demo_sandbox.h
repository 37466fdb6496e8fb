#pragma once

#include <filesystem>
#include <memory>

#include "reference/reference_service.h"

namespace drive::cli {

// The reference service seeded with the demo drive on free loopback ports, a fresh temporary
// container, home and data directories beside it, this process's environment pointed at all
// of them and a signed-in session stored: the provider as a user would have it, touching
// nothing of the person's own files.
class DemoSandbox {
 public:
  // Throws std::runtime_error when a directory cannot be made or a port cannot be bound.
  DemoSandbox();
  // Once the provider's work is done, stops the service and removes every file made.
  ~DemoSandbox();
  DemoSandbox(const DemoSandbox&) = delete;
  DemoSandbox& operator=(const DemoSandbox&) = delete;

  reference::ReferenceService& service() { return *service_; }
  std::filesystem::path container() const;

 private:
  // Removed last, after the service has stopped writing into it.
  struct Directory {
    Directory();
    ~Directory();
    std::filesystem::path path;
  };

  Directory root_;
  std::unique_ptr<reference::ReferenceService> service_;
};

}  // namespace drive::cli
