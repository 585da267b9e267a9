#include "inspect.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <exception>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>

#include "inspect_dataset.h"
#include "inspect_groups.h"
#include "inspect_process.h"
#include "inspect_stream.h"
#include "inspect_types.h"
#include "inspect_xml.h"

namespace vesk_inspect {

namespace {

/// What a sub-command does when it was chosen: true when the file is sound.
using Action = std::function<bool(std::ostream&)>;

constexpr const char* footer = R"(
Exit status: 0 when the file is sound, 1 when it is not or cannot be read.
Of an XML file that does not parse, the parser's own words are printed.

Examples:
  vesk-inspect dataset out.bin --rows 30
  vesk-inspect dataset out.bin_payload_1 --form sparse
  vesk-inspect process table.process --dates --payloads 1
  vesk-inspect xml table.xml --save table.stream
  vesk-inspect stream table.stream
  vesk-inspect types QUVENXMLTag
  vesk-inspect groups found_1.nodes.csv groups.txt --largest 10
)";

/// The text of a count. The conversion of the options would take a sign, nothing, and what is too large as well.
const CLI::Validator Count(
    [](const std::string& text) {
      std::uint64_t count = 0;
      const char* end = text.data() + text.size();
      const std::from_chars_result result = std::from_chars(text.data(), end, count);
      return result.ec == std::errc() && result.ptr == end ? std::string() : "[" + text + "] is no count";
    },
    "");

void addDatasetCommand(CLI::App& app, Action& action) {
  auto options = std::make_shared<DatasetOptions>();
  auto form = std::make_shared<std::string>();
  CLI::App* command = app.add_subcommand("dataset", "A binary dataset, described by FILE.info or by the options");
  command->add_option("FILE", options->path, "The dataset")->required();
  command->add_option("--form", *form, "sparse or dense, whatever FILE.info says")
      ->check(CLI::IsMember({"sparse", "dense"}));
  command->add_option("--columns", options->columns, "Numbers a row, the key included, of the dense form")
      ->check(CLI::Range(1, 1000000));
  command->add_option("--rows", options->rows, "Records to print")->check(Count)->capture_default_str();
  command->add_option("--defects", options->shownDefects, "Defects to print")->check(Count)->capture_default_str();
  command->callback([options, form, &action] {
    if (!form->empty()) options->form = *form == "dense" ? DatasetForm::Dense : DatasetForm::Sparse;
    action = [options](std::ostream& out) { return inspectDataset(*options, out); };
  });
}

void addProcessCommand(CLI::App& app, Action& action) {
  auto options = std::make_shared<ProcessOptions>();
  CLI::App* command = app.add_subcommand("process", "A process file; the options are those it was written with");
  command->add_option("FILE", options->path, "The process file")->required();
  command->add_flag("--dates", options->shape.dates, "The parameter file has a DateField");
  command->add_option("--payloads", options->shape.payloads, "Number of CyclicAddPayload operations")
      ->check(CLI::Range(0, 1000))
      ->capture_default_str();
  command->add_flag("--pair-sum", options->shape.pairSum, "The operation is PairSum");
  command->add_option("--rows", options->rows, "Entries to print")->check(Count)->capture_default_str();
  command->callback(
      [options, &action] { action = [options](std::ostream& out) { return inspectProcess(*options, out); }; });
}

void addXmlCommand(CLI::App& app, Action& action) {
  auto options = std::make_shared<XmlOptions>();
  CLI::App* command = app.add_subcommand("xml", "A parameter file, printed as the system writes one");
  command->add_option("FILE", options->path, "The XML file")->required();
  command->add_option("--save", options->streamPath, "Save the tree of tags as an object stream");
  command->callback([options, &action] {
    action = [options](std::ostream& out) {
      try {
        return inspectXml(*options, out) == 0;
      } catch (int) {  // the library exception: its report was printed where it was raised
        return false;
      }
    };
  });
}

void addStreamCommand(CLI::App& app, Action& action) {
  auto options = std::make_shared<StreamOptions>();
  CLI::App* command = app.add_subcommand("stream", "An object stream, printed as indented text");
  command->add_option("FILE", options->path, "The object stream")->required();
  command->add_option("--elements", options->elements, "Numbers to print of an array, 0 for all")
      ->check(Count)
      ->capture_default_str();
  command->callback(
      [options, &action] { action = [options](std::ostream& out) { return inspectStream(*options, out); }; });
}

void addTypesCommand(CLI::App& app, Action& action) {
  auto name = std::make_shared<std::string>();
  CLI::App* command = app.add_subcommand("types", "The types that an object stream can name, with their members");
  command->add_option("NAME", *name, "Only this type and its bases");
  command->callback([name, &action] {
    action = [name](std::ostream& out) {
      inspectTypes(*name, out);
      return true;
    };
  });
}

void addGroupsCommand(CLI::App& app, Action& action) {
  auto options = std::make_shared<GroupsOptions>();
  CLI::App* command = app.add_subcommand("groups", "Groups that the group analysis found, compared with known ones");
  command->add_option("FOUND", options->foundPath, "The nodes file of the group analysis")->required();
  command
      ->add_option("KNOWN", options->knownPath,
                   "The known groups: a line a group, number and members, or a line a node, number and group")
      ->required();
  command->add_option("--largest", options->largest, "Found groups to print, the largest first")
      ->check(Count)
      ->capture_default_str();
  command->add_flag("--core", options->coreOnly, "Of the found groups, take the core nodes only");
  command->add_flag("--full", options->full,
                    "Print coverage, and adjusted Rand index and mutual information with missing members alone, too");
  command->add_option("--dataset", options->dataset,
                      "Print the modularity on this sparse dataset of a table or pair sum run, too");
  command->callback([options, &action] {
    action = [options](std::ostream& out) {
      inspectGroups(*options, out);
      return true;
    };
  });
}

int report(std::ostream& err, const char* text) {
  err << "vesk-inspect: " << text << "\n";
  return 1;
}

}  // namespace

int runInspect(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
  CLI::App app("Shows what is inside the system's files and checks their structure.", "vesk-inspect");
  app.set_version_flag("--version", "vesk-inspect " VESK_VERSION);
  app.footer(footer);
  app.require_subcommand(1);
  Action action;
  addDatasetCommand(app, action);
  addProcessCommand(app, action);
  addXmlCommand(app, action);
  addStreamCommand(app, action);
  addTypesCommand(app, action);
  addGroupsCommand(app, action);
  try {
    bool sound = true;
    try {
      app.parse(argc, argv);
      sound = action(out);
    } catch (const CLI::ParseError& error) {
      if (error.get_exit_code() != 0) return report(err, error.what());
      app.exit(error, out, err);  // --help or --version
    }
    if (!out.flush()) throw std::runtime_error("cannot write to standard output");
    return sound ? 0 : 1;
  } catch (const std::exception& error) {
    return report(err, error.what());
  }
}

}  // namespace vesk_inspect
