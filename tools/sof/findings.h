#pragma once

#include <vector>

#include "finding.h"
#include "report.h"

/** The results of the checks of `sof doctor`, in order. */
class Findings {
 public:
  void add(Finding finding) { findings_.push_back(std::move(finding)); }
  void add(Grade grade, std::string subject, std::string found, std::string advice = "") {
    add({grade, std::move(subject), std::move(found), std::move(advice)});
  }
  /** Whether the library can be used, as one sentence without a full stop. */
  std::string verdict() const;
  Report report() const;

 private:
  size_t count(Grade grade) const;

  std::vector<Finding> findings_;
};
