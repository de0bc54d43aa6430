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
      {"h?BARE https://h/p?BARE&x= http://h/p?&#", "h?# https://h/p?#&x= http://h/p?&#"},
      {R"({"lbs": "http:\/\/h\/p\u003fx\u003dA\u0026y=B=C", "z": ["h?A", "u:p\u0040h"]})",
       R"({"lbs": "http:\/\/h\/p\u003fx\u003d#\u0026y=#", "z": ["h?#", "#\u0040h"]})"},
      {R"({"lbs_rsp": "{\"lbs\": \"http://h?x=A\", \"vlt\": [\"u:p@h:1\"]}"})",
       R"({"lbs_rsp": "{\"lbs\": \"http://h?x=#\", \"vlt\": [\"#@h:1\"]}"})"},
      {"<a href=\"/p?x=A\">http://u:p@q@h/</a>", "<a href=\"/p?x=#\">http://#@h/</a>"},
      {"http://h/p?k=[redacted] b ?x=A&sv=0", "http://h/p?k=#&sv=#"},
      {"http://h/p?k=A http://i/p?k=B&sv=0", "http://h/p?k=# http://i/p?k=#&sv=#"},
      // URLs with blanks, quotes and marks.
      {"url:http://u:a \"b<c>@h/p?x=a \"b<c>&y=d e", "url:http://#@h/p?x=#&y=#"},
      {R"(["http://u:a \"b<c>@h/p?x=a \"b<c>&y=d e", "http://u:p@", "u\"p@h", "u:a] @h:1"])",
       R"(["http://#@h/p?x=#&y=#", "http://#@", "#@h", "#@h:1"])"},
      {"[lbs] Start lbs_url:http://h/p?a b default_link_v4:a b@h backup_urls:2 http://h?a b "
       "http://i?c default_link_list:1 a b@i:1",
       "[lbs] Start lbs_url:http://h/p?# default_link_v4:#@h backup_urls:2 http://h?# http://i?# "
       "default_link_list:#@i:1"},
      {"[lbs] Hold link address a b@h:1?c d found:true",
       "[lbs] Hold link address #@h:1?# found:true"},
      {"[transfer] http://h/p&a=b failed: refused after 1 ms",
       "[transfer] http://h/p&a=# failed: refused after 1 ms"},
      // Keys with any characters.
      {"url:http://h/p?a=1&k=a \"b&c\nd&sv=0", "url:http://h/p?a=#&k=#&sv=#"},
      {R"({"a": "http://h/p?k=A", "b": "&sv=0"})", R"({"a": "http://h/p?k=#", "b": "&sv=#"})"},
      {"[lbs] Check response current business token :A b\nc request business token:B \"c\nd\r\n",
       "[lbs] Check response current business token :# request business token:#\r\n"},
      {"[lbs] current business token : request business token:",
       "[lbs] current business token : request business token:"},
      // Values without a name, which can end in marks.
      {R"(["http://h/p?QQ==", "http://h/p?QQ\u003d", "http://h/p?a=&b="])",
       R"(["http://h/p?#", "http://h/p?#", "http://h/p?a=&b="])"},
      // Members, headers and forms.
      {R"([{"appkey": "A\"b\\", "error_code": 1}, {"appkey": ""}])",
       R"([{"appkey": "#", "error_code": 1}, {"appkey": ""}])"},
      {R"("{\"Api_Key\": \"A\\\"b\\\\\", \"n\": 1}")", R"("{\"Api_Key\": \"#\", \"n\": 1}")"},
      {"{\"token\":\t\"A\", \"token\"\t:\"A\", \"password\":\n \"two words\"}",
       "{\"token\":\t\"#\", \"token\"\t:\"#\", \"password\":\n \"#\"}"},
      {R"("{\"token\":\n\"A b\", \"token\"\t:\"A b\", \"x\": \"{\\\"token\\\"\\r:\\t\\\"A\\\"}\"}")",
       R"("{\"token\":\n\"#\", \"token\"\t:\"#\", \"x\": \"{\\\"token\\\"\\r:\\t\\\"#\\\"}\"}")"},
      {R"({"token":5,"password":["A]", {"b": "C"}], "secret": {"a": [1]}, "b": "{\"token\": 5}"})",
       R"({"token":"#","password":"#", "secret": "#", "b": "{\"token\": \"#\"}"})"},
      {"X-QORVIN-APPKEY : A\r\nCookie: a=b; c", "X-QORVIN-APPKEY : #\r\nCookie: #"},
      {R"({"a": "Cookie: a, b", "c": "token=A=b&d"})", R"({"a": "Cookie: #", "c": "token=#&#"})"},
      {R"({"a": "{\"token\": \"cut", "b": 1})", R"({"a": "{\"token\": \"#\"", "b": 1})"},
      {"secret-key: a\r\nPWD=b&c\r\n{\"Access_Tokens\": [1]}",
       "secret-key: #\r\nPWD=#&#\r\n{\"Access_Tokens\": \"#\"}"},
      // No secrets.
      {"[environment] Start business:b data_path:C:/dev/a?b/me@corp/app\r\n",
       "[environment] Start business:b data_path:C:/dev/a?b/me@corp/app\r\n"},
      {"03-14 15:09:26.535 4-8 [LV_APP] [environment] Token changed key:set",
       "03-14 15:09:26.535 4-8 [LV_APP] [environment] Token changed key:set"},
      {"is it 1 < 2 && 3? [::1]:80, a.b:1 \\\\\"@", "is it 1 < 2 && 3? [::1]:80, a.b:1 \\\\\"@"},
  };
  for (const auto& [text, redacted] : cases) {
    EXPECT_EQ(Redactor().Redact(text), Hidden(redacted));
    EXPECT_EQ(Redactor().Redact(Hidden(redacted)), Hidden(redacted)) << "once is enough";
  }
}

TEST(Redactor, HidesAKnownKeyWhereverItStandsAsAWord) {
  Redactor redactor;
  redactor.Learn("[multiple]Send sub url request:http://h/p?k=long-key&sv=0&pv=0");
  redactor.Learn("[multiple]Send sub url request:http://h/p?k=default&sv=0&k=a/long/key&sv=0&pv=0");
  redactor.Learn("[lbs] Check response current business token :old key request business token:A\n");
  redactor.Learn(R"([statistic] Do statistic data :[{"appkey": "Reported"}])");
  const struct {
    std::string text;
    std::string redacted;
  } cases[] = {
      {"/long-key/long-keys long-keylong-key long-key", "/#/long-keys long-keylong-key #"},
      {"old key, Reported", "#, #"},
      // After escapes, and with one inside.
      {R"("unknown key \u003clong-key\u003e \\u0022long-key\\u0022")",
       R"("unknown key \u003c#\u003e \\u0022#\\u0022")"},
      {R"("key:\nlong-key\tlong-key" %3Dk%3Dlong-key%26sv)", R"("key:\n#\t#" %3Dk%3D#%26sv)"},
      {R"("a/long/key a\/long\/key \"a\\/long\\/key\"")", R"("# # \"#\"")"},
  };
  for (const auto& [text, redacted] : cases) {
    EXPECT_EQ(redactor.Redact(text), Hidden(redacted));
  }
  EXPECT_EQ(redactor.RedactCut("end of a key&sv=0\r\nnext k=long-key"), Hidden("#\r\nnext k=#"));
}

// Else a document or such a key could hide the log's words, and crowd out the key.
TEST(Redactor, LearnsNoWordOfTheLog) {
  Redactor redactor;
  for (const char* message :
       {"[lbs]ParseLBSResponse rsp:\r\n{\"token\": \"default\", \"appkey\": \"default\"}\r\n",
        R"([lbs]ParseLBSResponse rsp:{"lbs": "http://h?k=default&sv=0&pv=0", "x": "u:default@h"})",
        "[lbs] Check response res = false for body error body:\r\nHTTP error\nappkey: default",
        "[multiple]Send sub url request:http://h?k=default&sv=0&sv=0&pv=0",
        "[multiple]Send sub url request:http://h?k=default&sv=0&pv=0",
        "[multiple]Send sub url request:http://h?k=short&sv=0&pv=0",
        "[http tool]Post request to http lib info:\r\nX-QORVIN-APPKEY:default\r\n"}) {
    redactor.Learn(message);
  }
  EXPECT_EQ(redactor.Redact("short use default:true"), "short use default:true");
}

}  // namespace
