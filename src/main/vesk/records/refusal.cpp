#include "records/refusal.h"

namespace vesk {

std::string_view nameOf(Cause cause) {
  switch (cause) {
    case Cause::ShortLine:
      return "short line";
    case Cause::CutLine:
      return "cut line";
    case Cause::LongLine:
      return "long line";
    case Cause::Binary:
      return "not text";
    case Cause::Blank:
      return "blank field";
    case Cause::InnerBlank:
      return "blank inside a field";
    case Cause::InnerSeparator:
      return "comma or tab inside a field";
    case Cause::NotANumber:
      return "not a number";
    case Cause::NumberTooLarge:
      return "number above 2^53";
    case Cause::MultiplicityTooLarge:
      return "multiplicity above 2^31 - 1";
    case Cause::ReservedNumber:
      return "-1 or -2";
    case Cause::CallerNotPositive:
      return "caller not above 0";
    case Cause::NoSuchDate:
      return "no such date";
    case Cause::AfterDay:
      return "after the day";
    case Cause::BeforeHorizon:
      return "before the horizon";
    case Cause::Restricted:
      return "restricted";
  }
  return "";
}

}  // namespace vesk
