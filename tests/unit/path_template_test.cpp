#include "basekit/basic/path_template.h"

#include <gmock/gmock.h>

#include <map>

using namespace velm::path;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// A value source with scripted values, which records the placeholders in the order of the requests.
struct Values {
  std::map<Placeholder, Value> known;
  std::vector<Placeholder> asked;
  unsigned next_random = 0;

  ValueSource source() {
    return {[this](Placeholder placeholder) {
              asked.push_back(placeholder);
              const auto value = known.find(placeholder);
              return value == known.end() ? Value::leave_as_it_stands() : value->second;
            },
            [this] { return next_random++; }};
  }

  std::string expand(std::string_view text) {
    std::string result = "untouched";
    EXPECT_EQ(velm::path::expand(text, result, source()), kOk);
    return result;
  }
};

TEST(PathTemplate, NamesHashToTheirSlots) {
  for (const PlaceholderSlot& row : kPlaceholders) {
    const std::string_view text = row.text;
    EXPECT_EQ(slot_of(text.substr(1, text.size() - 2)), row.slot) << text;
  }
}

TEST(PathTemplate, ExpandsTheLogTemplate) {
  Values values;
  values.known[Placeholder::commonappdata] = Value::of("C:\\ProgramData");
  values.known[Placeholder::date] = Value::of("20240506");
  EXPECT_EQ(values.expand("{commonappdata}\\VELM\\log\\{date}\\velm_client_sof.log"),
            "C:\\ProgramData\\VELM\\log\\20240506\\velm_client_sof.log");
}

TEST(PathTemplate, ReplacesEveryOccurrence) {
  Values values;
  values.known[Placeholder::date] = Value::of("20240506");
  EXPECT_EQ(values.expand("{date}-{date}"), "20240506-20240506");
}

TEST(PathTemplate, ExpandsInSlotOrder) {
  Values values;
  values.expand("{commonappdata}{date}{time}{sys64}");
  EXPECT_THAT(values.asked, ElementsAre(Placeholder::time, Placeholder::sys64, Placeholder::date,
                                        Placeholder::commonappdata));
}

TEST(PathTemplate, ValueMayContainALaterPlaceholder) {
  Values values;
  values.known[Placeholder::time] = Value::of("{date}");
  values.known[Placeholder::date] = Value::of("D");
  EXPECT_EQ(values.expand("{time}{date}"), "DD");
  EXPECT_EQ(values.expand("{time}"), "{date}");
}

TEST(PathTemplate, LeavesUnknownNamesAndOpenBraces) {
  Values values;
  EXPECT_EQ(values.expand("{nothing}"), "{nothing}");
  EXPECT_EQ(values.expand("{date"), "{date");
  EXPECT_EQ(values.expand("date}"), "date}");
  EXPECT_EQ(values.expand("{}"), "{}");
  EXPECT_EQ(values.expand(""), "");
}

TEST(PathTemplate, UnknownNameWithAPlaceholdersHashIsKept) {
  Values values;
  values.known[Placeholder::date] = Value::of("20240506");
  EXPECT_EQ(values.expand("{Z}"), "{Z}");
  EXPECT_THAT(values.asked, ElementsAre(Placeholder::date));

  values.known[Placeholder::userdir] = Value::missing();
  std::string result = "untouched";
  EXPECT_EQ(expand("{b}", result, values.source()), -21);
  EXPECT_EQ(result, "untouched");
}

TEST(PathTemplate, LeavesAPlaceholderWithoutAValueHere) {
  Values values;
  EXPECT_EQ(values.expand("{sys64}{pf64}"), "{sys64}{pf64}");
  EXPECT_THAT(values.asked, ElementsAre(Placeholder::sys64, Placeholder::pf64));
}

TEST(PathTemplate, MissingValueFailsAndKeepsTheResult) {
  Values values;
  values.known[Placeholder::userdir] = Value::missing();
  std::string result = "untouched";
  EXPECT_EQ(expand("{userdir}", result, values.source()), -21);
  EXPECT_EQ(result, "untouched");
}

TEST(PathTemplate, RandomPlaceholderHasItsLength) {
  Values values;
  EXPECT_EQ(values.expand("a{rand8}b"), "a01234567b");
  values.next_random = 61;
  EXPECT_EQ(values.expand("{rand2}"), "Z0");
}

TEST(PathTemplate, RandomCharactersComeFromLettersAndDigits) {
  Values values;
  const std::string text = values.expand("{rand100}");
  EXPECT_EQ(text.size(), 100u);
  EXPECT_EQ(text.find_first_not_of("0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"),
            std::string::npos);
}

TEST(PathTemplate, OnlyTheFirstRandomNameIsRemembered) {
  Values values;
  EXPECT_EQ(values.expand("{rand2}-{rand3}-{rand2}"), "01-{rand3}-01");
}

// "rand3" hashes to the slot of "clock", "rand2" to a slot without a placeholder.
TEST(PathTemplate, LaterRandomNamesMarkTheirSlots) {
  Values values;
  values.expand("{rand3}{rand2}");
  EXPECT_THAT(values.asked, IsEmpty());
  values.expand("{rand2}{rand3}");
  EXPECT_THAT(values.asked, ElementsAre(Placeholder::clock));
  values.expand("{rand3}{rand3}");
  EXPECT_THAT(values.asked, ElementsAre(Placeholder::clock, Placeholder::clock));
}

TEST(PathTemplate, InvalidRandomLengthGivesNoCharacters) {
  Values values;
  EXPECT_EQ(values.expand("a{rand}b"), "ab");
  EXPECT_EQ(values.expand("a{xrand3}b"), "ab");
  EXPECT_EQ(values.expand("a{rand-3}b"), "ab");
}

TEST(PathTemplate, ARandomTextIsAtMost255Characters) {
  Values values;
  EXPECT_EQ(values.expand("{rand255}").size(), 255u);
  EXPECT_EQ(values.expand("{rand300}").size(), 255u);
  EXPECT_EQ(values.expand("{rand2000000000}").size(), 255u);
}

TEST(PathTemplate, ValueIsTruncatedAt255Bytes) {
  Values values;
  values.known[Placeholder::tmp] = Value::of(std::string(300, 'x'));
  EXPECT_EQ(values.expand("{tmp}"), std::string(255, 'x'));
}

TEST(PathTemplate, ResultIsTruncatedAt1023Bytes) {
  Values values;
  values.known[Placeholder::tmp] = Value::of(std::string(255, 'x'));
  EXPECT_EQ(values.expand("{tmp}{tmp}{tmp}{tmp}{tmp}"), std::string(1023, 'x'));
  EXPECT_EQ(values.expand(std::string(2000, 'y')), std::string(1023, 'y'));
}

}  // namespace
