#ifndef VESK_DAY_STATE_SETTINGS_H
#define VESK_DAY_STATE_SETTINGS_H

#include <map>
#include <string>

#include "loader_settings.h"

namespace vesk {

/// The settings on which the meaning of a state depends, by their tags: the kind of run, what an entry holds, how the
/// callers are spread over partitions. Fields are named by their names, so that other columns are no other setting.
/// `recordDates` is the form of the record dates: ymd, ydm or none.
std::map<std::string, std::string> stateSettings(const vesk_loader::LoaderSettings& settings,
                                                 const std::string& recordDates);

/// What differs, tag by tag, as "TAG: OLD in the state, NEW now; ..."; empty for no difference.
std::string settingsDifference(const std::map<std::string, std::string>& state,
                               const std::map<std::string, std::string>& now);

}  // namespace vesk

#endif  // VESK_DAY_STATE_SETTINGS_H
