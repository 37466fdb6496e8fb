#include "command_line.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <sstream>

#include "global_options.h"
#include "human_output.h"
#include "platform/task_runner.h"
#include "platform/xpc_transaction.h"
#include "shell.h"

namespace drive::cli {
namespace {

fp::ItemFields fieldNamed(const std::string& name) {
  static const std::map<std::string, fp::ItemFields> fields = {
      {"contents", fp::ItemField::contents},
      {"filename", fp::ItemField::filename},
      {"parentItemIdentifier", fp::ItemField::parentItemIdentifier},
      {"lastUsedDate", fp::ItemField::lastUsedDate},
      {"tagData", fp::ItemField::tagData},
      {"favoriteRank", fp::ItemField::favoriteRank},
      {"creationDate", fp::ItemField::creationDate},
      {"contentModificationDate", fp::ItemField::contentModificationDate},
      {"fileSystemFlags", fp::ItemField::fileSystemFlags},
      {"extendedAttributes", fp::ItemField::extendedAttributes},
      {"typeAndCreator", fp::ItemField::typeAndCreator},
  };
  auto found = fields.find(name);
  if (found == fields.end()) throw CLI::ValidationError("--fields", "unknown field " + name);
  return found->second;
}

fp::ItemFields parseFields(const std::string& list) {
  fp::ItemFields fields = 0;
  std::stringstream stream(list);
  for (std::string name; std::getline(stream, name, ',');) {
    if (!name.empty()) fields |= fieldNamed(name);
  }
  return fields;
}

// Arguments that start over at every parse, so that a parser reused for many lines forgets
// the options of the last one.
template <typename T>
std::shared_ptr<T> freshEachParse(CLI::App* command) {
  auto arguments = std::make_shared<T>();
  command->preparse_callback([arguments](std::size_t) { *arguments = T{}; });
  return arguments;
}

void addItemCommands(CLI::App& app, Command& chosen, std::string& name) {
  auto id = std::make_shared<std::string>();
  auto* item = app.add_subcommand("item", "itemForIdentifier: one item");
  item->add_option("ID", *id)->required();
  item->callback([&chosen, &name, id] {
    name = "item";
    chosen = [id](PlatformHost& host) { return host.item(*id); };
  });

  auto listId = std::make_shared<std::string>();
  auto* list = app.add_subcommand("list", "enumerate a container's items");
  list->add_option("ID", *listId)->required();
  list->callback([&chosen, &name, listId] {
    name = "list";
    chosen = [listId](PlatformHost& host) { return host.list(*listId); };
  });

  auto changesId = std::make_shared<std::string>();
  auto* changes = app.add_subcommand("changes", "enumerate a container's changes");
  auto anchorHex = freshEachParse<std::string>(changes);
  changes->add_option("ID", *changesId)->required();
  changes->add_option("--anchor", *anchorHex, "the sync anchor, in hex");
  changes->callback([&chosen, &name, changesId, anchorHex] {
    auto anchor = bytesFromHex(*anchorHex);
    if (!anchor) throw CLI::ValidationError("--anchor", "not a hexadecimal byte string");
    name = "changes";
    chosen = [changesId, anchor](PlatformHost& host) { return host.changes(*changesId, *anchor); };
  });

  auto anchorId = std::make_shared<std::string>();
  auto* anchorCommand = app.add_subcommand("anchor", "a container's current sync anchor");
  anchorCommand->add_option("ID", *anchorId)->required();
  anchorCommand->callback([&chosen, &name, anchorId] {
    name = "anchor";
    chosen = [anchorId](PlatformHost& host) { return host.anchor(*anchorId); };
  });
}

void addContentCommands(CLI::App& app, Command& chosen, std::string& name) {
  struct Fetch {
    std::string id;
    std::optional<std::string> version;
    std::optional<std::string> output;
  };
  auto* fetch = app.add_subcommand("fetch", "fetch an item's contents");
  auto fetchArgs = freshEachParse<Fetch>(fetch);
  fetch->add_option("ID", fetchArgs->id)->required();
  fetch->add_option("--version", fetchArgs->version, "the requested content version");
  fetch->add_option("-o", fetchArgs->output, "also copy the delivered file here");
  fetch->callback([&chosen, &name, fetchArgs] {
    name = "fetch";
    chosen = [fetchArgs](PlatformHost& host) {
      std::optional<std::filesystem::path> copyTo;
      if (fetchArgs->output) copyTo = *fetchArgs->output;
      return host.fetch(fetchArgs->id, fetchArgs->version, copyTo);
    };
  });

  struct Create {
    CreateRequest request;
    std::optional<std::string> file;
  };
  auto* create = app.add_subcommand("create", "create an item from a template");
  auto createArgs = freshEachParse<Create>(create);
  create->add_option("PARENT", createArgs->request.parent)->required();
  create->add_option("NAME", createArgs->request.name)->required();
  auto* file = create->add_option("--file", createArgs->file, "the contents");
  auto* folder = create->add_flag("--folder", createArgs->request.folder, "create a folder");
  file->excludes(folder);
  create->add_option("--type", createArgs->request.type, "the content type");
  create->add_flag("--may-exist", createArgs->request.mayExist, "the item may already exist");
  create->callback([&chosen, &name, createArgs] {
    name = "create";
    chosen = [createArgs](PlatformHost& host) {
      auto request = createArgs->request;
      if (createArgs->file) request.file = *createArgs->file;
      return host.create(request);
    };
  });
}

void addChangeCommands(CLI::App& app, Command& chosen, std::string& name) {
  struct Modify {
    ModifyRequest request;
    std::optional<std::string> file;
    std::string fields;
  };
  auto* modify = app.add_subcommand("modify", "modify an item");
  auto modifyArgs = freshEachParse<Modify>(modify);
  modify->add_option("ID", modifyArgs->request.identifier)->required();
  modify->add_option("--name", modifyArgs->request.name, "the new filename");
  modify->add_option("--parent", modifyArgs->request.parent, "the new parent");
  modify->add_option("--file", modifyArgs->file, "the new contents");
  modify->add_option("--fields", modifyArgs->fields, "further changed fields, comma-separated");
  modify->callback([&chosen, &name, modifyArgs] {
    auto request = modifyArgs->request;
    request.extraFields = parseFields(modifyArgs->fields);
    if (modifyArgs->file) request.file = *modifyArgs->file;
    name = "modify";
    chosen = [request](PlatformHost& host) { return host.modify(request); };
  });

  auto deleteId = std::make_shared<std::string>();
  auto* remove = app.add_subcommand("delete", "delete an item");
  remove->add_option("ID", *deleteId)->required();
  remove->callback([&chosen, &name, deleteId] {
    name = "delete";
    chosen = [deleteId](PlatformHost& host) { return host.remove(*deleteId); };
  });

  auto actionId = std::make_shared<std::string>();
  auto* action = app.add_subcommand("action", "perform a Finder action on items");
  auto actionItems = freshEachParse<std::vector<std::string>>(action);
  action->add_option("ACTION_ID", *actionId)->required();
  action->add_option("ID", *actionItems);
  action->callback([&chosen, &name, actionId, actionItems] {
    name = "action";
    chosen = [actionId, actionItems](PlatformHost& host) {
      return host.action(*actionId, *actionItems);
    };
  });
}

}  // namespace

void addRequestCommands(CLI::App& app, Command& chosen, std::string& name) {
  addItemCommands(app, chosen, name);
  addContentCommands(app, chosen, name);
  addChangeCommands(app, chosen, name);
}

int runCommandLine(int argc, char** argv) {
  CLI::App app("pralodrive: the PraloDrive provider, hosted from the command line");
  app.require_subcommand(1);
  GlobalOptions globals;
  addGlobalOptions(app, globals);
  Command chosen;
  std::string name;
  addRequestCommands(app, chosen, name);
  bool shellMode = false;
  app.add_subcommand("shell", "run commands from standard input in one process")->callback([&] {
    shellMode = true;
  });
  try {
    app.parse(argc, argv);
    applyGlobalOptions(globals);
  } catch (const CLI::CallForHelp& help) {
    return app.exit(help);
  } catch (const CLI::Error& error) {
    const auto outcome = usageError(error.what());
    if (globals.json) {
      std::cout << dumpLine(outcome.json) << std::endl;
    } else {
      std::cerr << "usage error: " << error.what() << "\nRun with --help for more information.\n";
    }
    return 2;
  }
  FileProviderExtension extension({"eu.vantrel.drive", "PraloDrive"});
  PlatformHost host(extension, extension, extension);
  int status = 0;
  if (shellMode) {
    status = runShell(host, std::cin, std::cout);
  } else {
    const auto outcome = chosen(host);
    if (globals.json) {
      std::cout << dumpLine(outcome.json) << std::endl;
    } else {
      printForPerson(name, outcome, std::cout, std::cerr);
    }
    status = outcome.status;
  }
  fp::waitForXpcTransactions(std::chrono::hours(1));
  fp::TaskRunner::shared().waitIdle();
  return status;
}

}  // namespace drive::cli
