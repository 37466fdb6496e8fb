#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "cli/platform_host.h"
#include "model/drive_item_id.h"
#include "reference/reference_service.h"

namespace drive::cli {

// What a person does in a file manager, step by step: each request is printed as it would be
// typed, made once through the host, and its result laid out as the platform received it.
class DemoWalk {
 public:
  DemoWalk(PlatformHost& host, reference::ReferenceService& service, std::ostream& out)
      : host_(host), service_(service), out_(out) {}

  // Every step; false when a request answered otherwise than the walk expects. Throws
  // std::runtime_error when the walk cannot go on.
  bool run();

 private:
  enum class Expect { success, refusal };

  void domainRoot();
  void browsing();
  void opening();
  void creating();
  void renamingAndMoving();
  void remoteChange();
  void keepingOffline();
  void refusals();
  void deleting();
  void sharedFiles();

  void heading(const std::string& title);
  void say(const std::string& text);
  Outcome request(const std::vector<std::string>& words, Expect expect = Expect::success);
  void showFile(const std::string& name);
  std::string nodeId(const std::string& path);
  std::string node(const std::string& path) { return DriveItemID::node(nodeId(path)).format(); }
  std::string space(const std::string& title);

  PlatformHost& host_;
  reference::ReferenceService& service_;
  std::ostream& out_;
  int step_ = 0;
  int surprises_ = 0;
  // What the walk made, carried from step to step.
  std::string folder_;
  std::string file_;
};

}  // namespace drive::cli
