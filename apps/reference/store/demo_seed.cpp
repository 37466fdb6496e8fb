#include "reference/store/demo_seed.h"

#include "model/node_kinds.h"

namespace drive::reference {
namespace {

using std::chrono::hours;
using namespace std::string_view_literals;

constexpr hours kDay{24};

NodeOptions ago(int days) {
  NodeOptions options;
  options.age = days * kDay;
  return options;
}

NodeOptions trashedFor(int days) {
  NodeOptions options = ago(days);
  options.trashed = true;
  return options;
}

// The user's own folder in a workspace, which the user owns whatever their role there.
NodeOptions personalFolder(int days) {
  NodeOptions options = ago(days);
  options.role = "owner";
  options.isPersonal = true;
  return options;
}

void seedPersonal(TreeBuilder& b) {
  const auto home = b.addNamespace(NamespaceKind::personal, "Alex Morgan").root;
  const auto documents = b.addFolder(home, "Documents", ago(90));
  b.addFile(documents, "Quarterly Report.pdf", "%PDF-1.7\n% quarterly figures\n%%EOF\n", ago(30));
  b.addFile(documents, "Notes.md", "# Notes\n\n- call the printer\n- book the venue\n", ago(12));
  b.addFile(documents, "notes.md", "# notes (from the phone)\n\nbuy milk\n", ago(3));
  b.addFile(documents, "Old draft.txt", "an early draft nobody needs\n", trashedFor(60));
  const auto drafts = b.addFolder(documents, "Drafts", ago(20));
  b.addFile(drafts, "Outline.docx", "PK\x03\x04 outline", ago(8));
  const auto photos = b.addFolder(home, "Photos", ago(200));
  b.addFile(photos, "Beach.jpg", "\xff\xd8\xff\xe0 beach at dusk", ago(150));
  b.addFile(photos, "budget.csv", "item,amount\nflights,420\nhotel,610\n", ago(40));
  b.addDocument(home, "Launch Scene.vtrscene", "scene", ago(5));
  const auto website = b.addProject(home, "Website Redesign", ago(45));
  b.addFile(website, "Brief.txt", "New landing page, launch in spring.\n", ago(44));
  b.addDocument(website, "Hero Object.vtrobj", "object", ago(10));
  const auto archive = b.addFolder(home, "__archive__", ago(400));
  b.addFile(archive, "Budget 2023.xlsx", "PK\x03\x04 budget", ago(380));
}

void seedStudio(TreeBuilder& b) {
  const auto studio = b.addNamespace(NamespaceKind::workspace, "Studio Team", "editor").root;
  const auto assets = b.addFolder(studio, "Shared Assets", ago(120));
  b.addFile(assets, "Logo.png", "\x89PNG\r\n\x1a\n logo", ago(100));
  b.addFile(assets, "Brand Guide.pdf", "%PDF-1.7\n% brand guide\n%%EOF\n", ago(90));
  const auto mine = b.addFolder(studio, "Alex's Space", personalFolder(70));
  b.addFile(mine, "Ideas.txt", "A sketch for the autumn campaign.\n", ago(6));
  const auto campaign = b.addProject(studio, "Q3 Campaign", ago(50));
  b.addDocument(campaign, "Storyboard.vtrscene", "scene", ago(9));
  b.addDocument(campaign, "Brushed Steel", "material", ago(7));
  b.addDocument(campaign, "Onboarding Flow", "flow", ago(4));
  b.addFolder(studio, "_archive", ago(300));
}

void seedClient(TreeBuilder& b) {
  const auto client = b.addNamespace(NamespaceKind::workspace, "Client Showcase", "viewer").root;
  const auto deliverables = b.addFolder(client, "Deliverables", ago(60));
  b.addFile(deliverables, "Final Cut.mp4",
            "\0\0\0\x18"
            "ftypmp42 final cut"sv,
            ago(20));
  b.addFile(deliverables, "Invoice.pdf", "%PDF-1.7\n% invoice\n%%EOF\n", ago(15));
  b.addFile(client, "README.txt", "Read-only copies for the client.\n", ago(60));
}

}  // namespace

void seedDemo(TreeBuilder& builder) {
  seedPersonal(builder);
  seedStudio(builder);
  seedClient(builder);
}

}  // namespace drive::reference
