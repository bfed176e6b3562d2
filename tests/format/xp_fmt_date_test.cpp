#include "tests/format/locale_scope.h"
#include "tests/format/print.h"
#include "tests/time/fake_clock.h"

namespace {

std::string date(const char* format, const xp_time_fields& fields, char escape = 0,
                 int32_t size = 256) {
  char buffer[256];
  const int32_t written = xp_fmt_date(buffer, size, format, -1, &fields, escape);
  const int32_t count = xp_fmt_date(nullptr, 0, format, -1, &fields, escape);
  EXPECT_EQ(static_cast<size_t>(written), strlen(buffer));
  if (size == 256)
    EXPECT_EQ(written, count) << format;
  else
    EXPECT_GE(count, written) << format;
  return buffer;
}

xp_time_fields fields_of(xp_time_t seconds) {
  xp_time_fields fields;
  xp_time_to_fields(seconds, &fields);
  return fields;
}

xp_time_fields day(uint16_t year, uint16_t month, uint16_t day_of_month) {
  const xp_time_fields fields = {year, month, day_of_month, 0, 0, 0, 0};
  return fields_of(xp_time_from_fields(&fields));
}

struct date_locale : locale_scope {
  date_locale() {
    strcpy(snapshot->day_names[0], "Sunday");
    strcpy(snapshot->day_abbreviations[0], "Sun");
    strcpy(snapshot->month_names[2], "March");
    strcpy(snapshot->month_abbreviations[2], "M\xC3\xA4r");
    strcpy(snapshot->am, "AM");
    strcpy(snapshot->pm, "PM");
    strcpy(snapshot->date_separator, "-");
    strcpy(snapshot->time_separator, ".");
  }
};

// A clock in a zone, and forms of the user's locale that name themselves.
struct date_platform : fake_clock {
  date_platform() {
    set_now(clock_reading(2012, 7, 4, 1, 2, 3));
    set_zone(berlin, XP_ZONE_DAYLIGHT);
    locale.date = [](const xp_time_fields* fields, bool long_form, char16_t* out, int32_t size) {
      return put(long_form ? u"long" : fields->hour < 12 ? u"early" : u"late", out, size);
    };
    locale.time = [](const xp_time_fields*, bool seconds, char16_t* out, int32_t size) {
      return put(seconds ? u"t\u00EFme" : u"brief", out, size);
    };
  }

  static int32_t put(const char16_t* text, char16_t* out, int32_t size) {
    int32_t units = 0;
    while (text[units])
      units++;
    if (!out) return units + 1;
    if (units + 1 > size) return 0;
    memcpy(out, text, (static_cast<size_t>(units) + 1) * sizeof(char16_t));
    return units + 1;
  }
};

}  // namespace

TEST(FmtDate, EveryLetter) {
  date_platform platform;
  date_locale locale;
  const xp_time_fields morning = {2012, 3, 4, 5, 6, 7, 0};
  struct row {
    const char* format;
    const char* expected;
  };
  const row rows[] = {
      {"%a %A %b %h %B", "Sun Sunday M\xC3\xA4r M\xC3\xA4r March"},
      {"%c", "Sun M\xC3\xA4r  4 05:06:07 2012"},
      {"%C %y %Y", "20 12 2012"},
      {"%d|%e|%D|%F", "04| 4|03/04/12|2012-03-04"},
      {"%f", "000000"},
      {"%g %G %V %u %w %U %W %j", "12 2012 09 7 0 10 09 064"},
      {"%H|%k|%I|%l|%M|%S|%p", "05| 5|05| 5|06|07|AM"},
      {"%r|%R|%T|%v", "05:06:07 AM|05:06|05:06:07| 4-M\xC3\xA4r-2012"},
      {"%n%t|", "\n\t|"},
      {"%s", "1330837567"},
      {"%x|%X|%Q", "long|t\xC3\xAFme|brief"},
      {"%z|%Z", "+0100|?"},
      {"%+", "Sun, 04 M\xC3\xA4r 2012 05:06:07 +0100"},
      {"%Y%/%m%/%d %H%:%M", "2012-03-04 05.06"},
      {"%Ey%Od%EOEm", "120403"},
      {"%%|%q|%!", "%|q|!"},
      {"end%", "end"},
      {"end%E", "end"},
      {"", ""},
  };
  for (const row& r : rows)
    EXPECT_EQ(date(r.format, morning), r.expected) << r.format;
  EXPECT_EQ(date("#F ##100%d #c", morning, '#'),
            "2012-03-04 #100%d Sun M\xC3\xA4r  4 05:06:07 2012");
  char buffer[32];
  EXPECT_EQ(xp_fmt_date(buffer, 32, "%%%d%Y", 4, &morning, 0), 3) << "the length ends the format";
  EXPECT_STREQ(buffer, "%04");
}

TEST(FmtDate, TwelveHoursAndWeeksAtTheEdges) {
  date_locale locale;
  EXPECT_EQ(date("%I|%l|%p", {2012, 3, 4, 0, 0, 0, 0}), "12|12|AM");
  EXPECT_EQ(date("%I|%l|%p", {2012, 3, 4, 12, 0, 0, 0}), "12|12|PM");
  EXPECT_EQ(date("%I|%l|%p", {2012, 3, 4, 17, 0, 0, 0}), "05| 5|PM");
  EXPECT_EQ(date("%U %W %j", day(2017, 1, 1)), "01 00 001") << "a Sunday";
  EXPECT_EQ(date("%V %G", day(2021, 1, 3)), "53 2020");
  EXPECT_EQ(date("%V %G", day(2018, 12, 31)), "01 2019");
  xp_time_fields turn = day(2000, 1, 1);
  turn.year = 0;
  EXPECT_EQ(date("%V %g %j %Y", turn), "52 99 001 0000") << "short years count on";
  turn.year = 100;
  EXPECT_EQ(date("%V %g %G", turn), "52 99 0099");
}

TEST(FmtDate, FieldsOutOfRangeDoNoHarm) {
  date_platform platform;
  date_locale locale;
  const xp_time_fields wild = {65535, 65535, 65535, 65535, 65535, 65535, 65535};
  const xp_time_fields zero = {};
  const char every[] = "%a%A%b%B%C%d%e%g%G%H%I%j%k%l%m%M%p%s%S%u%U%V%w%W%y%Y%z%+%c";
  for (const xp_time_fields& fields : {wild, zero})
    EXPECT_FALSE(date(every, fields).empty());
  EXPECT_EQ(date("[%a%A%b%B]", wild), "[]");
  EXPECT_EQ(date("%j %s", wild), "001 4294967295") << "the calendar ends in 2099";
  EXPECT_EQ(date("[%b%B]", zero), "[]");
}

TEST(FmtDate, CutsToTheRoom) {
  date_locale locale;
  const xp_time_fields morning = {2012, 3, 4, 5, 6, 7, 0};
  EXPECT_EQ(date("%F %T", morning, 0, 1), "");
  EXPECT_EQ(date("%F %T", morning, 0, 6), "2012-");
  EXPECT_EQ(date("%F %T", morning, 0, 7), "2012-0");
  EXPECT_EQ(date("%b", morning, 0, 3), "M") << "names at whole characters";
  char buffer[4] = "abc";
  EXPECT_EQ(xp_fmt_date(buffer, 4, nullptr, -1, &morning, 0), 0);
  EXPECT_EQ(buffer[0], 0);
  buffer[0] = 'a';
  EXPECT_EQ(xp_fmt_date(buffer, 4, "%Y", -1, nullptr, 0), 0);
  EXPECT_EQ(buffer[0], 0);
}

TEST(FmtDate, DirectivesShowAClockReadingOrTheLocalClock) {
  date_platform platform;
  const uint32_t noon = 1330862400;  // 2012-03-04 12:00:00
  EXPECT_EQ(print("%d{z::#F #T}|%lu{z::#FT#T.000Z}|%u{Z::#F #T}", noon, noon, noon),
            "2012-03-04 12:00:00|2012-03-04T12:00:00.000Z|2012-03-04 13:00:00");
  EXPECT_EQ(print("%z|%D|%d{z}|%Z|%+z|%+Z", noon, noon, noon, noon, noon, noon),
            "late|late|late|late|late t\xC3\xAFme|late t\xC3\xAFme");
  EXPECT_EQ(print("%#Z %#z %x{Z::}", 1, 1, 1), "19700101000001Z 19700101000001+0100 early");
  EXPECT_EQ(print("%d{z::#F #T}|%d{Z::#F #T}", 0, 0), "2012-07-04 03:02:03|2012-07-04 03:02:03")
      << "0 is now, by the local clock";
  EXPECT_EQ(print("%z{::#F}|%5d{z::#F}", noon, noon), "2012-03-04|2012-03-04") << "no width";
}

TEST(FmtDate, ArgumentWidths) {
  date_platform platform;
  const uint64_t wide = 0x100000000u + 86400;
  EXPECT_EQ(print("%u{z::#F}|%llu{z::#F}|%d{z::#s}", wide, wide, -1),
            "1970-01-02|1970-01-02|" + std::string("4294967295"));
  EXPECT_EQ(print("%llu{z::#F}", uint64_t{1} << 32), "1970-01-01") << "not 0, so not now";
}

TEST(FmtDate, DirectivesInLittleRoom) {
  date_platform platform;
  EXPECT_EQ(print_into(15, "%#Z", 1).text, "");
  EXPECT_EQ(print_into(16, "%#Z", 1).text, "19700101000001Z");
  EXPECT_EQ(print_into(19, "%#z", 1).text, "");
  EXPECT_EQ(print_into(20, "%#z", 1).text, "19700101000001+0100");
  EXPECT_EQ(print_into(6, "%+z", 1).text, "early");
  EXPECT_EQ(print_into(7, "%+z", 1).text, "early") << "no blank that nothing would follow";
  EXPECT_EQ(print_into(8, "%+z", 1).text, "early t");
  EXPECT_EQ(print_into(9, "%+z", 1).text, "early t") << "whole characters";
  EXPECT_EQ(print_into(64, "%.4d{z::#F}", 1).text, "1970");
}
