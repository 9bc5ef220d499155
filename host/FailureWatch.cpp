#include "host/FailureWatch.h"

namespace zelkor::host {

FailureWatch::FailureWatch()
    : subscription_(foundation::log::subscribe(
          [first = first_](const foundation::log::Record& record) {
              if (!record.component.starts_with("login."))
                  return;
              const foundation::MutexLock lock(first->mutex);
              if (first->text.empty())
                  first->text = record.text;
          },
          foundation::log::SeverityFilter::only(foundation::log::logging_event_types::error))) {}

std::string FailureWatch::reason() const {
    const foundation::MutexLock lock(first_->mutex);
    return first_->text;
}

} // namespace zelkor::host
