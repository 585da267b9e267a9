#ifndef VESK_ANALYZE_PARAMETER_FILE_H
#define VESK_ANALYZE_PARAMETER_FILE_H

#include <string>
#include <string_view>
#include <vector>

#include "analysis_kind.h"
#include "control/quven_XML_handler.h"

namespace vesk_analyze {

/// A parameter that the command line gives instead of the parameter file.
struct ParameterSetting {
  std::string path;  ///< the key, after that of its branch and "/" if it is given so
  std::string value;
};

/// The value of PARAMETER_FILE when there is none and all parameters are set on the command line.
inline constexpr const char* noParameterFile = "-";

/// Reads KEY=VALUE. Returns whether the analysis has this key.
bool readSetting(const AnalysisKind& kind, const std::string& text, ParameterSetting& setting);

/// The parameters of a run, on rank 0: the tree of the parameter file with the settings of the command line, and what
/// is checked before the analysis reads it. It takes all keys from the table of the analysis.
///
/// Lifetime: release(env) before it ends.
class ParameterFile {
 public:
  ParameterFile(const AnalysisKind& analysisKind, std::string name, std::vector<ParameterSetting> commandLine,
                const QUVENEnvHandle& env)
      : kind(analysisKind), fileName(std::move(name)), settings(std::move(commandLine)), tree(QUVEN_ENV) {}

  /// Reads the file and returns the tag with the parameters; the warning 2202 for each that the analysis does not know.
  /// Errors: the terminating reports 2302, for a file that cannot be read, and 2202, for one without the top element.
  const QUVENXMLTag& read(const QUVENEnvHandle& env);
  /// The warnings 2202 of legal values with which the results mean nothing.
  void warnOfNoUse(const QUVENEnvHandle& env);
  /// The warning 2202 that names the parameter for the output.
  void warnOfNoOutput();
  /// Ends a strict run that has printed one of these warnings. It is called when the analysis has reported its own
  /// errors, so that a strict run names all mistakes, too. Errors: the terminating report 4608.
  void endIfStrict(const QUVENEnvHandle& env) const;
  /// The files that a run with these parameters reads beside the dataset.
  std::vector<std::string> inputFiles(const QUVENEnvHandle& env) const;
  /// The files that a run with these parameters writes on this number of workers.
  std::vector<OutputFile> outputFiles(int numWorkers, const QUVENEnvHandle& env) const;
  /// Adds the branch "Parameters" to the results: each parameter with the value that is used.
  void addResults(QUVENXMLTag& results, const QUVENEnvHandle& env) const;
  /// Adds the branch "Defaults", of the same shape: each parameter with its default, empty if it has none.
  void addDefaults(QUVENXMLTag& results, const QUVENEnvHandle& env) const;
  /// Whether a parameter of this key, the last name of its path, is a text.
  bool isText(std::string_view key) const;
  /// The file in whose text the analysis looks for a value; empty if the tag has it.
  std::string fileOfText() const;
  void release(const QUVENEnvHandle& env) { tree.reset(QUVEN_ENV); }

 private:
  bool hasFile() const { return fileName != noParameterFile || settings.empty(); }
  void readTree(const QUVENEnvHandle& env);
  void applySettings(const QUVENEnvHandle& env);
  void warnOfUnknown(const QUVENEnvHandle& env);
  void doubt(std::string_view key, std::string_view text);
  const QUVENXMLTag& parameters(const QUVENEnvHandle& env) const;
  /// Calls action(path, row, section) for each parameter but optional ones that are not given; the path is that below
  /// "Parameters".
  template <class Action>
  void forEachParameter(Action action, const QUVENEnvHandle& env) const;
  /// Calls action(row, value) for each parameter that is given and names a file of this kind.
  template <class Action>
  void forEachFile(QUVENParameterFile file, Action action, const QUVENEnvHandle& env) const;

  const AnalysisKind& kind;
  const std::string fileName;
  const std::vector<ParameterSetting> settings;
  QUVENOwnPtr<QUVENXMLHandler> tree;
  bool isDoubtful = false;  ///< a warning that ends a strict run has been printed
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_PARAMETER_FILE_H
