#include "tools/redactor/redactor.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using redactor::Redactor;

// Writes # for "[redacted]".
std::string Hidden(std::string text) {
  for (size_t at = text.find('#'); at != std::string::npos; at = text.find('#', at)) {
    text.replace(at, 1, redactor::kRedacted);
  }
  return text;
}

TEST(Redactor, HidesSecretsAndNothingElse) {
  const struct {
    std::string text;
    std::string redacted;
  } cases[] = {
      // URLs, in the log and in documents, with escapes of other writers.
      {"Send sub url request:http://[::1]:8001/a?k=KEY&sv=0",
       "Send sub url request:http://[::1]:8001/a?k=#&sv=#"},
      {"https://h/p?BARE&x= http://h/p?&#", "https://h/p?#&x= http://h/p?&#"},
      {R"({"lbs": "http:\/\/h\/p\u003fx\u003dA\u0026y=B=C", "z": 1})",
       R"({"lbs": "http:\/\/h\/p\u003fx\u003d#\u0026y=#", "z": 1})"},
      {R"({"lbs_rsp": "{\"lbs\": \"http://h?x=A\", \"vlt\": [\"u:p@h:1\"]}"})",
       R"({"lbs_rsp": "{\"lbs\": \"http://h?x=#\", \"vlt\": [\"#@h:1\"]}"})"},
      {"<a href=\"/p?x=A&amp;y=B\">http://u:p@q@h/</a>",
       "<a href=\"/p?x=#&amp;y=#\">http://#@h/</a>"},
      {"http://h/p?k=[redacted] b ?x=A&sv=0", "http://h/p?k=# b ?x=#&sv=#"},
      {"lbs_url:u:p@h A&y=B> <a href=/p?x=A>B http://h/p?k=A http://i/p?k=B&sv=0",
       "lbs_url:#@h A&y=#> <a href=/p?x=#>B http://h/p?k=# http://i/p?k=#&sv=#"},
      // Keys with any characters.
      {"url:http://h/p?a=1&k=a \"b&c\nd&sv=0", "url:http://h/p?a=#&k=#&sv=#"},
      {"[lbs] Check response current business token :A b request business token:B c\n[lbs]",
       "[lbs] Check response current business token :# request business token:#\n[lbs]"},
      {"token : request business token:", "token : request business token:"},
      {R"([{"appkey": "A\"b\\", "error_code": 1}])", R"([{"appkey": "#", "error_code": 1}])"},
      {R"("{\"Api_Key\": \"A\\\"b\\\\\", \"n\": 1}")", R"("{\"Api_Key\": \"#\", \"n\": 1}")"},
      {R"({"token":5,"password":["A"],"secret": "cut)",
       R"({"token":#,"password":["A"],"secret": "#)"},
      {"X-QORVIN-APPKEY : A\r\nCookie: a=b; c", "X-QORVIN-APPKEY : #\r\nCookie: #"},
      {R"({"a": "{\"token\": \"cut", "b": 1})", R"({"a": "{\"token\": \"#", "b": 1})"},
      // No secrets.
      {"03-14 15:09:26.535 4-8 [LV_APP] [environment] Token changed key:set",
       "03-14 15:09:26.535 4-8 [LV_APP] [environment] Token changed key:set"},
      {"is it 1 < 2 && 3? [::1]:80, a.b:1 \\\\\" @ x@",
       "is it 1 < 2 && 3? [::1]:80, a.b:1 \\\\\" @ x@"},
  };
  for (const auto& [text, redacted] : cases) {
    EXPECT_EQ(Redactor().Redact(text), Hidden(redacted));
    EXPECT_EQ(Redactor().Redact(Hidden(redacted)), Hidden(redacted)) << "once is enough";
  }
}

TEST(Redactor, HidesAKnownKeyWhereverItStandsAsAWord) {
  Redactor redactor;
  redactor.Learn("http://h/p?k=long-key&sv=0 http://h/p?k=short&sv=0");
  EXPECT_EQ(redactor.Redact("/long-key/long-keys long-keylong-key long-key short"),
            Hidden("/#/long-keys long-keylong-key # short"));
  EXPECT_EQ(redactor.RedactCut("end of a key&sv=0\r\nnext k=long-key"), Hidden("#\r\nnext k=#"));
}

}  // namespace
