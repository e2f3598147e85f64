#include "engine/spreadsheet/number_format.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace trfilter {
namespace {

std::string shown(std::string_view code, double value, DateSystem dates = DateSystem::from_1900) {
  std::string out;
  NumberFormat(code).append(out, value, dates);
  return out;
}

std::string shown_text(std::string_view code, std::string_view text) {
  std::string out;
  NumberFormat(code).append_text(out, text);
  return out;
}

std::string general(double value) {
  return shown("General", value);
}

TEST(NumberFormat, GeneralShowsIntegersWhole) {
  EXPECT_EQ(general(0), "0");
  EXPECT_EQ(general(-0.0), "0");
  EXPECT_EQ(general(42), "42");
  EXPECT_EQ(general(-42), "-42");
  EXPECT_EQ(general(12345678901), "12345678901");
  EXPECT_EQ(general(-12345678901), "-12345678901");
}

TEST(NumberFormat, GeneralTurnsExponentialBeyondElevenCharacters) {
  EXPECT_EQ(general(123456789012), "1.23457E+11");
  EXPECT_EQ(general(100000000000), "1E+11");
  EXPECT_EQ(general(99999999999.9), "1E+11");
  EXPECT_EQ(general(-1.5e200), "-1.5E+200");
  EXPECT_EQ(general(0.00001234), "1.234E-05");
  EXPECT_EQ(general(1e-300), "1E-300");
}

TEST(NumberFormat, GeneralRoundsToElevenCharacters) {
  EXPECT_EQ(general(1.0 / 3), "0.333333333");
  EXPECT_EQ(general(2.0 / 3), "0.666666667");
  EXPECT_EQ(general(-2.0 / 3), "-0.666666667");
  EXPECT_EQ(general(1234567.891234), "1234567.891");
  EXPECT_EQ(general(1234567890.26), "1234567890");
  EXPECT_EQ(general(0.1 + 0.2), "0.3");
  EXPECT_EQ(general(0.000123456789), "0.000123457");
  EXPECT_EQ(general(9999999999.96), "10000000000");
  EXPECT_EQ(general(2.5), "2.5");
}

TEST(NumberFormat, GeneralShowsWhatIsNoNumberAsAnError) {
  EXPECT_EQ(general(std::numeric_limits<double>::infinity()), "#NUM!");
  EXPECT_EQ(shown("0.00", std::nan("")), "#NUM!");
}

TEST(NumberFormat, FixedDecimalsRoundDecimally) {
  EXPECT_EQ(shown("0", 2.5), "3");
  EXPECT_EQ(shown("0.00", 1.005), "1.01");
  EXPECT_EQ(shown("0.00", 0.125), "0.13");
  EXPECT_EQ(shown("0.00", -1234.5), "-1234.50");
  EXPECT_EQ(shown("0.0", 0.05), "0.1");
  EXPECT_EQ(shown("0.0", 0.04), "0.0");
  EXPECT_EQ(shown("0.0", 9.96), "10.0");
  EXPECT_EQ(shown("00000", 42), "00042");
  EXPECT_EQ(shown("0.00", 0), "0.00");
}

TEST(NumberFormat, PlaceholdersDifferInWhatTheyShowForNothing) {
  EXPECT_EQ(shown("#", 0), "");
  EXPECT_EQ(shown("#.##", 1.5), "1.5");
  EXPECT_EQ(shown("#.##", 5), "5.");
  EXPECT_EQ(shown("0.0#", 5), "5.0");
  EXPECT_EQ(shown("0.0??", 5.25), "5.25 ");
  EXPECT_EQ(shown("???", 7), "  7");
  EXPECT_EQ(shown(".00", 0.5), ".50");
}

TEST(NumberFormat, CommasGroupThousandsOrScale) {
  EXPECT_EQ(shown("#,##0", 1234567), "1,234,567");
  EXPECT_EQ(shown("#,##0", 999), "999");
  EXPECT_EQ(shown("#,##0.00", -1234.567), "-1,234.57");
  EXPECT_EQ(shown("0,000", 5), "0,005");
  EXPECT_EQ(shown("#,##0,", 1234567), "1,235");
  EXPECT_EQ(shown("0.0,,\"M\"", 12345678), "12.3M");
  EXPECT_EQ(shown("#,", 400), "");
}

TEST(NumberFormat, LiteralsStandBetweenDigits) {
  EXPECT_EQ(shown("000-00-0000", 123456789), "123-45-6789");
  EXPECT_EQ(shown("(000) 000-0000", 5551234567), "(555) 123-4567");
  EXPECT_EQ(shown("0.0\"x\"0", 1.25), "1.2x5");
  EXPECT_EQ(shown("\"No. \"0", 5), "No. 5");
  EXPECT_EQ(shown("0\\ \\k\\g", 5), "5 kg");
  EXPECT_EQ(shown("\"only words\"", 5), "only words");
  EXPECT_EQ(shown("\"only words\"", -5), "-only words");
}

TEST(NumberFormat, PercentsMultiply) {
  EXPECT_EQ(shown("0%", 0.256), "26%");
  EXPECT_EQ(shown("0.00%", 0.12345), "12.35%");
  EXPECT_EQ(shown("0%", -0.5), "-50%");
  EXPECT_EQ(shown("%0", 0.5), "%50");
}

TEST(NumberFormat, ScientificKeepsItsWidths) {
  EXPECT_EQ(shown("0.00E+00", 12345), "1.23E+04");
  EXPECT_EQ(shown("0.00E+00", 0.00012345), "1.23E-04");
  EXPECT_EQ(shown("0.00E-00", 12345), "1.23E04");
  EXPECT_EQ(shown("0.00E+00", 0), "0.00E+00");
  EXPECT_EQ(shown("0.00E+00", 9.999), "1.00E+01");
  EXPECT_EQ(shown("##0.0E+0", 12345), "12.3E+3");
  EXPECT_EQ(shown("##0.0E+0", 0.00012345), "123.5E-6");
  EXPECT_EQ(shown("##0.0E+0", 999960), "1.0E+6");
  EXPECT_EQ(shown("0E+0", -1e100), "-1E+100");
}

TEST(NumberFormat, FractionsTakeTheNearestOfTheirWidth) {
  EXPECT_EQ(shown("# ?/?", 0.5), " 1/2");
  EXPECT_EQ(shown("# ?/?", 2.25), "2 1/4");
  EXPECT_EQ(shown("# ?/?", -2.75), "-2 3/4");
  EXPECT_EQ(shown("# ?"
                  "?/??",
                  3.14159265),
            "3  1/7 ");
  EXPECT_EQ(shown("# ?/?", 3), "3    ");
  EXPECT_EQ(shown("# ?/?", 0), "0    ");
  EXPECT_EQ(shown("0 ?/?", 0), "0    ");
  EXPECT_EQ(shown("?/?", 1.5), "3/2");
  EXPECT_EQ(shown("# ?/8", 1.25), "1 2/8");
  EXPECT_EQ(shown("# ?"
                  "?/16",
                  0.99),
            "1      ");
  EXPECT_EQ(shown("# ?"
                  "?/100",
                  0.25),
            " 25/100");
  EXPECT_EQ(shown("# ?/?", 0.999), "1    ");
}

TEST(NumberFormat, SectionsFollowTheSign) {
  constexpr std::string_view code = "0.0;(0.0);\"zero\";\"<\"@\">\"";
  EXPECT_EQ(shown(code, 1), "1.0");
  EXPECT_EQ(shown(code, -1), "(1.0)");
  EXPECT_EQ(shown(code, 0), "zero");
  EXPECT_EQ(shown_text(code, "x"), "<x>");
  EXPECT_EQ(shown("0;[Red]0", -3), "3");
  EXPECT_EQ(shown("0;0", 0), "0");
}

TEST(NumberFormat, EmptySectionsHide) {
  EXPECT_EQ(shown(";;;", 5), "");
  EXPECT_EQ(shown(";;;", -5), "");
  EXPECT_EQ(shown_text(";;;", "x"), "");
  EXPECT_EQ(shown("0;;", -5), "");
  EXPECT_EQ(shown("0;;", 0), "");
  EXPECT_EQ(shown_text("0;;", "x"), "x");
}

TEST(NumberFormat, ConditionsChooseSections) {
  constexpr std::string_view code = "[<1]\"low\";[>=100]\"high\";\"mid\"";
  EXPECT_EQ(shown(code, 0.5), "low");
  EXPECT_EQ(shown(code, 100), "high");
  EXPECT_EQ(shown(code, 50), "mid");
  EXPECT_EQ(shown("[<=9999999]000-0000;(000) 000-0000", 5551234), "555-1234");
  EXPECT_EQ(shown("[<=9999999]000-0000;(000) 000-0000", 2125551234), "(212) 555-1234");
  EXPECT_EQ(shown("[=1]\"one\";[<>1]0", 2), "2");
  EXPECT_EQ(shown("[>100]0.00", 5), "5");
  EXPECT_EQ(shown("[<100]0;0.0", -5), "-5");
  EXPECT_EQ(shown("[<0]0;0.0", -5), "5");
  EXPECT_EQ(shown("[>=0]0;0", -5), "5");
}

TEST(NumberFormat, CurrenciesColoursAndPaddingAreLiterals) {
  EXPECT_EQ(shown("[$\xE2\x82\xAC-407] #,##0.00", 1234.5), "\xE2\x82\xAC 1,234.50");
  EXPECT_EQ(shown("[$EUR] 0", 5), "EUR 5");
  EXPECT_EQ(shown("[$-409]0", 5), "5");
  EXPECT_EQ(shown("$#,##0", 5000), "$5,000");
  EXPECT_EQ(shown("[Red][Color 5]0", 5), "5");
  EXPECT_EQ(shown("_(* #,##0.00_)", 5), " 5.00 ");
  EXPECT_EQ(shown("0\" \xE2\x82\xAC\"", 5), "5 \xE2\x82\xAC");
}

TEST(NumberFormat, GeneralMayStandAmongLiterals) {
  EXPECT_EQ(shown("General\" units\"", 2.5), "2.5 units");
  EXPECT_EQ(shown("\"a\"General;\"b\"General", -2), "b2");
}

TEST(NumberFormat, TextFormatsShowNumbersAsGeneral) {
  EXPECT_EQ(shown("@", 2.5), "2.5");
  EXPECT_EQ(shown_text("@", "abc"), "abc");
  EXPECT_EQ(shown_text("\"Dear \"@", "abc"), "Dear abc");
  EXPECT_EQ(shown_text("0.00", "abc"), "abc");
}

TEST(NumberFormat, DatesCountFrom1900WithItsLeapDay) {
  EXPECT_EQ(shown("yyyy-mm-dd", 1), "1900-01-01");
  EXPECT_EQ(shown("yyyy-mm-dd", 59), "1900-02-28");
  EXPECT_EQ(shown("yyyy-mm-dd", 60), "1900-02-29");
  EXPECT_EQ(shown("yyyy-mm-dd", 61), "1900-03-01");
  EXPECT_EQ(shown("m/d/yyyy", 0), "1/0/1900");
  EXPECT_EQ(shown("yyyy-mm-dd", 45658), "2025-01-01");
  EXPECT_EQ(shown("yyyy-mm-dd", 2958465), "9999-12-31");
}

TEST(NumberFormat, DatesMayCountFrom1904) {
  EXPECT_EQ(shown("yyyy-mm-dd", 0, DateSystem::from_1904), "1904-01-01");
  EXPECT_EQ(shown("dddd", 0, DateSystem::from_1904), "Friday");
  EXPECT_EQ(shown("yyyy-mm-dd", 44196, DateSystem::from_1904), "2025-01-01");
}

TEST(NumberFormat, DatesOutsideTheCalendarArePlainNumbers) {
  EXPECT_EQ(shown("yyyy", -1), "-1");
  EXPECT_EQ(shown("yyyy", 2958466), "2958466");
  EXPECT_EQ(shown("yyyy", 2958465.5, DateSystem::from_1904), "2958465.5");
}

TEST(NumberFormat, DatePartsHaveTheirLengths) {
  constexpr double date = 38000;  // 2004-01-14, a Wednesday
  EXPECT_EQ(shown("d", date), "14");
  EXPECT_EQ(shown("ddd dddd", date), "Wed Wednesday");
  EXPECT_EQ(shown("m mm mmm mmmm mmmmm", date), "1 01 Jan January J");
  EXPECT_EQ(shown("yy yyyy", date), "04 2004");
  EXPECT_EQ(shown("d-mmm-yy", date), "14-Jan-04");
  EXPECT_EQ(shown("[$-F800]dddd\\,\\ mmmm\\ dd\\,\\ yyyy", date), "Wednesday, January 14, 2004");
  EXPECT_EQ(shown("DD/MM/YYYY", date), "14/01/2004");
  EXPECT_EQ(shown("d.m.yyyy", date), "14.1.2004");
  EXPECT_EQ(shown("bbbb", date), "2547");
}

TEST(NumberFormat, TimesAreRoundedToWhatIsShown) {
  constexpr double afternoon = 0.564583333333333;  // 13:33:00
  EXPECT_EQ(shown("h:mm", afternoon), "13:33");
  EXPECT_EQ(shown("h:mm AM/PM", afternoon), "1:33 PM");
  EXPECT_EQ(shown("h:mm a/p", 0), "12:00 A");
  EXPECT_EQ(shown("hh:mm:ss", 0.5), "12:00:00");
  EXPECT_EQ(shown("mm:ss.00", 1.5 / 86400), "00:01.50");
  EXPECT_EQ(shown("ss.000", 0.25 / 86400), "00.250");
  EXPECT_EQ(shown("yyyy-mm-dd hh:mm:ss", 1.9999999), "1900-01-02 00:00:00");
  EXPECT_EQ(shown("h:mm", 0.999), "23:58");
}

TEST(NumberFormat, MonthsBesideHoursOrSecondsAreMinutes) {
  EXPECT_EQ(shown("hh\"h\"mm", 0.5), "12h00");
  EXPECT_EQ(shown("mm:ss", 0.5), "00:00");
  EXPECT_EQ(shown("m/d/yyyy h:mm", 38000.25), "1/14/2004 6:00");
  EXPECT_EQ(shown("yyyymmddhhmmss", 38000.25), "20040114060000");
}

TEST(NumberFormat, ElapsedTimesExceedADay) {
  EXPECT_EQ(shown("[h]:mm:ss", 1.5), "36:00:00");
  EXPECT_EQ(shown("[mm]:ss", 1.5), "2160:00");
  EXPECT_EQ(shown("[s]", 1.5), "129600");
  EXPECT_EQ(shown("[hh]:mm", 0.0625), "01:30");
  EXPECT_EQ(shown("[h]:mm", -0.5), "-12:00");
}

TEST(NumberFormat, BuiltInNumbersHaveTheirCodes) {
  const auto built_in = [](unsigned number, double value) {
    return shown(NumberFormat::built_in(number), value);
  };
  EXPECT_EQ(built_in(0, 1.5), "1.5");
  EXPECT_EQ(built_in(1, 1.5), "2");
  EXPECT_EQ(built_in(2, 1.5), "1.50");
  EXPECT_EQ(built_in(3, 1500.0), "1,500");
  EXPECT_EQ(built_in(4, 1500.0), "1,500.00");
  EXPECT_EQ(built_in(5, -1500.0), "($1,500)");
  EXPECT_EQ(built_in(9, 0.5), "50%");
  EXPECT_EQ(built_in(11, 1500.0), "1.50E+03");
  EXPECT_EQ(built_in(12, 1.5), "1 1/2");
  EXPECT_EQ(built_in(14, 38000), "1/14/2004");
  EXPECT_EQ(built_in(15, 38000), "14-Jan-04");
  EXPECT_EQ(built_in(18, 0.75), "6:00 PM");
  EXPECT_EQ(built_in(22, 38000.75), "1/14/2004 18:00");
  EXPECT_EQ(built_in(37, -1500), "(1,500)");
  EXPECT_EQ(built_in(41, 0), " - ");
  EXPECT_EQ(built_in(44, 1500), " $1,500.00 ");
  EXPECT_EQ(built_in(45, 0.5 / 24), "30:00");
  EXPECT_EQ(built_in(46, 2), "48:00:00");
  EXPECT_EQ(built_in(47, 1.25 / 86400), "00:01.3");
  EXPECT_EQ(built_in(48, 12345), "12.3E+3");
  EXPECT_EQ(built_in(49, 5), "5");
  EXPECT_EQ(built_in(4'000'000'000, 1.5), "1.5");
}

TEST(NumberFormat, CodesBeyondUnderstandingShowGeneral) {
  EXPECT_EQ(shown("", 1.5), "1.5");
  EXPECT_EQ(shown("0;0;0;@;0", 1.5), "1.5");
  EXPECT_EQ(shown(std::string(NumberFormat::longest_code, '0'), 1.5).size(),
            NumberFormat::longest_code);
  EXPECT_EQ(shown(std::string(NumberFormat::longest_code + 1, '0'), 1.5), "1.5");
}

TEST(NumberFormat, SurvivesEveryThreeSpecialCharacters) {
  constexpr std::string_view special = "0#?.,%E+-/@;[]\"\\_*$hmsydabgAPG<>=19 x\xC3";
  for (const char a : special) {
    for (const char b : special) {
      for (const char c : special) {
        const std::string code{'0', a, b, c};
        const NumberFormat format(code);
        std::string out;
        for (const double value : {0.0, -1.5, 1e-300, -1e300, 45000.75, 12345678.9}) {
          format.append(out, value);
        }
        format.append_text(out, "text");
        EXPECT_LT(out.size(), 10'000U) << code;
      }
    }
  }
}

TEST(NumberFormat, KnowsDates) {
  EXPECT_TRUE(NumberFormat("h:mm").is_date());
  EXPECT_FALSE(NumberFormat("0.0").is_date());
  EXPECT_FALSE(NumberFormat().is_date());
}

}  // namespace
}  // namespace trfilter
