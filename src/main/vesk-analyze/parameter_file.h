#ifndef VESK_ANALYZE_PARAMETER_FILE_H
#define VESK_ANALYZE_PARAMETER_FILE_H

#include <string>
#include <vector>

#include "analysis_kind.h"
#include "control/quven_XML_handler.h"

namespace vesk_analyze {

/// The parameters of a run, on rank 0: the tree of the parameter file, and what is checked before the analysis reads
/// it.
///
/// Lifetime: release(env) before it ends.
class ParameterFile {
 public:
  ParameterFile(const AnalysisKind& analysisKind, const std::string& name, const QUVENEnvHandle& env)
      : kind(analysisKind), fileName(name), tree(QUVEN_ENV) {}

  /// Reads the file and returns the tag with the parameters; the warning 2202 for each that the analysis does not know.
  /// Errors: the terminating reports 2302, for a file that cannot be read, and 2202, for one without the top element.
  const QUVENXMLTag& read(const QUVENEnvHandle& env);
  /// The warnings 2202 of accepted values with which the results mean nothing.
  void warnOfNoUse(const QUVENEnvHandle& env) const;
  /// The files that a run with these parameters reads beside the dataset.
  std::vector<std::string> inputFiles(const QUVENEnvHandle& env) const;
  void release(const QUVENEnvHandle& env) { tree.reset(QUVEN_ENV); }

 private:
  const QUVENXMLTag& parameters(const QUVENEnvHandle& env) const;

  const AnalysisKind& kind;
  const std::string& fileName;
  QUVENOwnPtr<QUVENXMLHandler> tree;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_PARAMETER_FILE_H
