#include "bench/bench_tree.h"

#include <unistd.h>

#include <cstdio>
#include <stdexcept>

namespace drive::bench {
namespace {

constexpr int kLargeFolderChildren = 100000;
constexpr int kMediumFolderChildren = 10000;
constexpr off_t kHugeFileSize = off_t{4} << 30;

std::string childName(int index) {
  char name[32];
  std::snprintf(name, sizeof name, "Report %06d.txt", index);
  return name;
}

// A file of 4 GiB whose blob is made sparse after the fact: served like any other, costing no
// disk. Its recorded size stays 1 byte; a fetch does not compare them.
std::string addHugeFile(reference::ReferenceService& service, reference::TreeBuilder& builder,
                        const StorageNode& parent) {
  const auto id = builder.addFile(parent, "Huge.bin", std::string(1, '\0')).id;
  const auto blob = service.dataDirectory() / "blobs" / builder.tree().blobOf(id).value();
  if (::truncate(blob.c_str(), kHugeFileSize) != 0) {
    throw std::runtime_error("cannot make the 4 GiB blob");
  }
  return id;
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
    const auto medium = builder.addFolder(home, "Medium");
    for (int index = 1; index <= kMediumFolderChildren; ++index)
      builder.addFile(medium, childName(index), "");
    nodes = {{"large", large.id},
             {"medium", medium.id},
             {"small", builder.addFile(home, "Small.txt", "a few bytes\n").id},
             {"content", builder.addFile(home, "Content.bin", "").id},
             {"huge", addHugeFile(service, builder, home)},
             {"uploads", builder.addFolder(home, "Uploads").id}};
  });
  return nodes;
}

}  // namespace drive::bench
