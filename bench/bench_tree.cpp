#include "bench/bench_tree.h"

#include <cstdio>

namespace drive::bench {
namespace {

constexpr int kLargeFolderChildren = 100000;

std::string childName(int index) {
  char name[32];
  std::snprintf(name, sizeof name, "Report %06d.txt", index);
  return name;
}

}  // namespace

std::vector<std::pair<std::string, std::string>> buildBenchTree(
    reference::ReferenceService& service) {
  std::vector<std::pair<std::string, std::string>> nodes;
  service.build([&](reference::TreeBuilder& builder) {
    const auto home = builder.addNamespace("personal", "Bench").root;
    const auto large = builder.addFolder(home, "Large");
    for (int index = 1; index <= kLargeFolderChildren; ++index)
      builder.addFile(large, childName(index), "");
    nodes = {{"large", large.id},
             {"small", builder.addFile(home, "Small.txt", "a few bytes\n").id},
             {"content", builder.addFile(home, "Content.bin", "").id},
             {"uploads", builder.addFolder(home, "Uploads").id}};
  });
  return nodes;
}

}  // namespace drive::bench
