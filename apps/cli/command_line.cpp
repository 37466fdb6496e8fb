#include "cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <sstream>

#include "cli/demo.h"
#include "cli/global_options.h"
#include "cli/human_output.h"
#include "cli/mount_commands.h"
#include "cli/replica_commands.h"
#include "cli/shell.h"
#include "platform/task_runner.h"
#include "platform/utf8.h"
#include "platform/xpc_transaction.h"

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

using IdentifierRequest = Outcome (PlatformHost::*)(const std::string&);

// One parser serves a whole shell session, so every use of a command starts from empty
// arguments rather than the last line's.
template <class Args>
std::shared_ptr<Args> freshArguments(CLI::App* command) {
  auto args = std::make_shared<Args>();
  command->preparse_callback([args](std::size_t) { *args = Args{}; });
  return args;
}

// An item's identifier, or a path in a mounted drive standing for it.
template <class Value>
CLI::Option* addItemOption(CLI::App* command, const std::string& name, Value& value,
                           const std::string& description) {
  return command->add_option(name, value, description + ", or its path in a mounted drive")
      ->transform(
          [](const std::string& given) {
            if (const auto identifier = identifierAtPath(given)) return *identifier;
            // A file elsewhere would only reach the provider as an identifier it does not know.
            std::error_code error;
            if (given.find('/') != std::string::npos && std::filesystem::exists(given, error)) {
              throw CLI::ValidationError(given + " is not an item of a mounted drive");
            }
            return given;
          },
          "", "");
}

// A command whose one argument is the identifier handed to the request.
void addIdentifierCommand(CLI::App& app, ParsedRequest& chosen, const std::string& name,
                          const std::string& description, IdentifierRequest request) {
  auto* command = app.add_subcommand(name, description);
  auto id = freshArguments<std::string>(command);
  addItemOption(command, "ID", *id, "the item's identifier")->required();
  command->callback([&chosen, name, id, request] {
    chosen = {[id = *id, request](PlatformHost& host) { return (host.*request)(id); }, name};
  });
}

void addEnumerationCommands(CLI::App& app, ParsedRequest& chosen) {
  addIdentifierCommand(app, chosen, "item", "itemForIdentifier: one item", &PlatformHost::item);
  addIdentifierCommand(app, chosen, "list", "enumerate a container's items", &PlatformHost::list);
  addIdentifierCommand(app, chosen, "anchor", "a container's current sync anchor",
                       &PlatformHost::anchor);

  struct Changes {
    std::string id;
    std::string anchorHex;
  };
  auto* changes = app.add_subcommand("changes", "enumerate a container's changes");
  auto args = freshArguments<Changes>(changes);
  addItemOption(changes, "ID", args->id, "the container's identifier")->required();
  changes->add_option("--anchor", args->anchorHex, "the sync anchor, in hex (default: empty)");
  changes->callback([&chosen, args] {
    auto anchor = bytesFromHex(args->anchorHex);
    if (!anchor) throw CLI::ValidationError("--anchor", "not a hexadecimal byte string");
    chosen = {[id = args->id, anchor](PlatformHost& host) { return host.changes(id, *anchor); },
              "changes"};
  });
}

void addFetchCommand(CLI::App& app, ParsedRequest& chosen) {
  struct Fetch {
    std::string id;
    std::optional<std::string> version;
    std::optional<std::string> output;
  };
  auto* fetch = app.add_subcommand("fetch", "fetch an item's contents");
  auto args = freshArguments<Fetch>(fetch);
  addItemOption(fetch, "ID", args->id, "the file's identifier")->required();
  fetch->add_option("--version", args->version, "the requested content version");
  fetch->add_option("-o", args->output, "also copy the delivered file here")->option_text("PATH");
  fetch->callback([&chosen, args] {
    chosen = {[args = *args](PlatformHost& host) {
                std::optional<std::filesystem::path> copyTo;
                if (args.output) copyTo = *args.output;
                return host.fetch(args.id, args.version, copyTo);
              },
              "fetch"};
  });
}

void addCreateCommand(CLI::App& app, ParsedRequest& chosen) {
  struct Create {
    CreateRequest request;
    std::optional<std::string> file;
  };
  auto* create = app.add_subcommand("create", "create an item from a template");
  auto args = freshArguments<Create>(create);
  addItemOption(create, "PARENT", args->request.parent, "the folder's identifier")->required();
  create->add_option("NAME", args->request.name)->required();
  auto* file = create->add_option("--file", args->file, "the contents")->option_text("PATH");
  auto* folder = create->add_flag("--folder", args->request.folder, "create a folder");
  file->excludes(folder);
  create->add_option("--type", args->request.type, "the content type")->option_text("UTI");
  create->add_flag("--may-exist", args->request.mayExist, "the item may already exist");
  create->callback([&chosen, args] {
    auto request = args->request;
    if (args->file) request.file = *args->file;
    chosen = {[request](PlatformHost& host) { return host.create(request); }, "create"};
  });
}

void addModifyCommand(CLI::App& app, ParsedRequest& chosen) {
  struct Modify {
    ModifyRequest request;
    std::optional<std::string> file;
    std::string fields;
  };
  auto* modify = app.add_subcommand("modify", "modify an item");
  auto args = freshArguments<Modify>(modify);
  addItemOption(modify, "ID", args->request.identifier, "the item's identifier")->required();
  modify->add_option("--name", args->request.name, "the new filename");
  addItemOption(modify, "--parent", args->request.parent, "the new parent")->option_text("ID");
  modify->add_option("--file", args->file, "the new contents")->option_text("PATH");
  modify->add_option("--fields", args->fields, "further changed fields, comma-separated")
      ->option_text("LIST");
  modify->callback([&chosen, args] {
    auto request = args->request;
    request.extraFields = parseFields(args->fields);
    if (args->file) request.file = *args->file;
    chosen = {[request](PlatformHost& host) { return host.modify(request); }, "modify"};
  });
}

void addActionCommand(CLI::App& app, ParsedRequest& chosen) {
  struct Action {
    std::string id;
    std::vector<std::string> items;
  };
  auto* action = app.add_subcommand("action", "perform a Finder action on items");
  auto args = freshArguments<Action>(action);
  action
      ->add_option("ACTION_ID", args->id,
                   "an action identifier or offline, online, open, send-copy, request, history")
      ->required();
  action->add_option("ID", args->items, "item identifiers, or paths in a mounted drive");
  action->callback([&chosen, args] {
    chosen = {
        [args = *args](PlatformHost& host) { return performAction(host, args.id, args.items); },
        "action"};
  });
}

// Prints a usage error as the output mode asks; the exit status.
int reportUsage(const std::string& text, bool json) {
  if (json) {
    std::cout << dumpLine(usageError(text).json) << std::endl;
  } else {
    std::cerr << "usage error: " << text << "\nRun with --help for more information.\n";
  }
  return 2;
}

enum class Mode { request, shell, demo };

// The platform hands over only valid Unicode: other bytes are the caller's mistake, named with
// their position and shown escaped.
std::optional<std::string> notUTF8(const std::vector<std::string>& words) {
  const auto bad =
      std::ranges::find_if(words, [](const auto& word) { return !fp::isValidUTF8(word); });
  if (bad == words.end()) return std::nullopt;
  std::string shown;
  for (const unsigned char c : *bad) {
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, "\\x%02X", c);
    shown += c >= 0x20 && c < 0x7f ? std::string(1, char(c)) : std::string(escaped);
  }
  return "argument " + std::to_string(bad - words.begin() + 1) + " \"" + shown +
         "\" is not valid UTF-8";
}

}  // namespace

void addRequestCommands(CLI::App& app, ParsedRequest& chosen) {
  addEnumerationCommands(app, chosen);
  addFetchCommand(app, chosen);
  addCreateCommand(app, chosen);
  addModifyCommand(app, chosen);
  addIdentifierCommand(app, chosen, "delete", "delete an item", &PlatformHost::remove);
  addActionCommand(app, chosen);
}

RequestParser::RequestParser(const std::function<void(CLI::App&)>& more)
    : app_(std::make_unique<CLI::App>("pralodrive request")),
      chosen_(std::make_unique<ParsedRequest>()) {
  app_->require_subcommand(1);
  addRequestCommands(*app_, *chosen_);
  if (more) more(*app_);
}

RequestParser::~RequestParser() = default;

ParsedRequest RequestParser::parse(std::vector<std::string> words) {
  *chosen_ = {};
  if (const auto text = notUTF8(words)) throw CLI::ValidationError(*text);
  std::reverse(words.begin(), words.end());
  try {
    app_->parse(words);
  } catch (const CLI::Success&) {
    throw CLI::ValidationError("--help is not available here; run pralodrive --help");
  } catch (const CLI::Error& error) {
    throw CLI::ValidationError(usageText(*app_, error));
  }
  return std::exchange(*chosen_, {});
}

std::string usageText(const CLI::App& app, const CLI::Error& error) {
  if (dynamic_cast<const CLI::RequiredError*>(&error) && app.get_subcommands().empty()) {
    const auto remaining = app.remaining();
    if (!remaining.empty()) return "unknown command \"" + remaining.front() + "\"";
    return "a command is required";
  }
  return error.what();
}

int runCommandLine(int argc, char** argv) {
  CLI::App app("pralodrive: the PraloDrive provider, hosted from the command line");
  app.require_subcommand(1);
  GlobalOptions globals;
  addGlobalOptions(app, globals);
  ParsedRequest chosen;
  addRequestCommands(app, chosen);
  Mode mode = Mode::request;
  app.add_subcommand("shell", "run commands from standard input in one process")->callback([&] {
    mode = Mode::shell;
  });
  ReplicaCommand replicaCommand;
  addReplicaCommands(app, replicaCommand);
  MountCommand mountCommand;
  addMountCommands(app, mountCommand);
  bool keep = false;
  auto* demo = app.add_subcommand("demo", "walk through the provider against a local service");
  demo->add_flag("--keep", keep, "leave the service running afterwards, until Ctrl-C");
  demo->callback([&] { mode = Mode::demo; });
  try {
    app.parse(argc, argv);
    applyGlobalOptions(globals);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::Error& error) {
    return reportUsage(usageText(app, error), globals.json);
  }
  if (const auto text = notUTF8(std::vector<std::string>(argv + 1, argv + argc)))
    return reportUsage(*text, globals.json);
  if (mode == Mode::demo) return runDemo({keep}, std::cout);
  FileProviderExtension::removeLeftovers();
  if (mountCommand.chosen())
    return runMountCommand(mountCommand, globals.json, std::cout, std::cerr);
  if (replicaCommand.which != ReplicaCommand::Which::none) {
    return runReplicaCommand(replicaCommand, globals.json, std::cout, std::cerr);
  }
  FileProviderExtension extension({"eu.vantrel.drive", "PraloDrive"});
  PlatformHost host(extension, extension, extension);
  int status = 0;
  if (mode == Mode::shell) {
    status = runShell(host, std::cin, std::cout);
  } else {
    const auto outcome = chosen.command(host);
    if (globals.json) {
      printJSONLine(outcome, std::cout);
    } else {
      printForPerson(chosen.name, outcome, std::cout, std::cerr);
    }
    status = outcome.status;
  }
  fp::waitForXpcTransactions(std::chrono::hours(1));
  fp::TaskRunner::shared().waitIdle();
  return status;
}

}  // namespace drive::cli
