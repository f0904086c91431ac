#include "findings.h"

#include <algorithm>

namespace {

constexpr const char* kGradeNames[] = {"ok", "note", "warning", "problem"};

const char* name_of(Grade grade) { return kGradeNames[static_cast<int>(grade)]; }

std::string counted(size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string text_of(const Finding& finding) {
  std::string grade = name_of(finding.grade);
  grade.resize(9, ' ');
  std::string text = grade + printable(finding.subject) + ": " + printable(finding.found) + "\n";
  if (!finding.advice.empty()) text += "         -> " + printable(finding.advice) + "\n";
  return text;
}

Json row_of(const Finding& finding) {
  Json row{{"grade", name_of(finding.grade)}, {"subject", finding.subject}, {"found", finding.found}};
  if (!finding.advice.empty()) row["advice"] = finding.advice;
  return row;
}

}  // namespace

size_t Findings::count(Grade grade) const {
  return static_cast<size_t>(std::ranges::count(findings_, grade, &Finding::grade));
}

std::string Findings::verdict() const {
  if (const size_t problems = count(Grade::problem)) return "not usable: " + counted(problems, "problem");
  if (const size_t warnings = count(Grade::warning)) return "usable with " + counted(warnings, "warning");
  return "ready to use";
}

Report Findings::report() const {
  Grade worst = Grade::ok;
  Json rows = Json::array();
  std::string text;
  for (const Finding& finding : findings_) {
    worst = std::max(worst, finding.grade);
    rows.push_back(row_of(finding));
    text += text_of(finding);
  }
  Report report{{"verdict", verdict()}, {"worst", name_of(worst)}, {"findings", rows}};
  report.say(text + "\nVerdict: " + verdict() + ".\n");
  return report.end_with(worst == Grade::problem ? ExitStatus::problems : ExitStatus::done);
}
