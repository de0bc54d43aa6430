// SPDX-License-Identifier: MIT
// The public interface of sturdy_comp. A client includes nothing else, or client.h, which wraps it.
// Plain C++11.
//
// The library answers one question for a messaging client: where do I connect? A client
//   1. fills _ZOSturdyEnvironmentSettings and calls StartSturdyEnvironment,
//   2. gets the environment's object by GetSturdyObject and its service by GetLBSService,
//   3. fills _ZOSturdyLBSSettings and calls Start on the service,
//   4. calls GetLinkAddress before each attempt to connect and HoldLinkAddress after a good one,
//   5. calls ExitSturdyEnvironment when it is done.
//
// Threads: every function and operation may be called from any thread of the client, several at
//          once, except where a comment says otherwise. ReleaseLBSService invalidates the
//          service's pointer, and ExitSturdyEnvironment every pointer: no other call on one may
//          run or begin during or after that call. Only a QueryHost or GetLBSResponse that has
//          begun to wait may: it is ended.
// Owner:   the library owns every object whose pointer it returns; a client never deletes one.
//          The library copies input records and texts before the call returns. Output buffers
//          belong to the client.
// Errors:  there are no error codes: results are a bool, a text or a null pointer. A call with a
//          null pointer for a text or an output does nothing and returns false. A call out of
//          order does nothing either. The two calls that create threads, StartSturdyEnvironment and
//          the service's Start, throw if there is no thread left. Without memory any call can throw
//          std::bad_alloc.
// Texts:   an input text ends at its NUL. A text in an array of a record also ends at the end of
//          the array. An output text is written WITHOUT a NUL and without a length: zero the
//          buffer first, and make it as large as the k...BufferSize constant that the operation
//          names. That size includes the NUL. No operation writes more, whatever the servers send.
// Blocking: an operation waits for the network only if its comment says so. All others take a lock
//          for a short time at most.
#pragma once

#include <stddef.h>
#include <stdint.h>

// The version of this header, and so of the library that it came with.
#define STURDY_VERSION_MAJOR 0
#define STURDY_VERSION_MINOR 1
#define STURDY_VERSION_PATCH 0
#define STURDY_VERSION_STRING "0.1.0"
// One number to compare: 1.2.3 is 10203.
#define STURDY_VERSION \
  (STURDY_VERSION_MAJOR * 10000 + STURDY_VERSION_MINOR * 100 + STURDY_VERSION_PATCH)

#if defined(_WIN32) && defined(STURDY_BUILDS_LIBRARY)
#define STURDY_EXPORT __declspec(dllexport)
#elif defined(_WIN32)
#define STURDY_EXPORT __declspec(dllimport)
#elif defined(__GNUC__)
#define STURDY_EXPORT __attribute__((visibility("default")))
#else
#define STURDY_EXPORT
#endif
// For client.h: keeps a name inside the program or plugin that compiles it in.
#if defined(__GNUC__) && !defined(_WIN32)
#define STURDY_HIDDEN __attribute__((visibility("hidden")))
#else
#define STURDY_HIDDEN
#endif

namespace net {

// A family of addresses, stored in 32 bits. The library accepts every value. A comment says what a
// value without a name does where that matters.
enum AddressFamily : int32_t {
  kIPFamilyAny = 0,  // unspecified, or both
  kIPFamilyV4 = 1,
  kIPFamilyV6 = 2,
};

}  // namespace net

namespace zo_sturdy {

// ---------------------------------------------------------------------------------------------
// Sizes of output buffers, in bytes. They follow from one bound: the library reads at most
// kMaxDocumentSize bytes of a server's answer.

// The largest document that is accepted from a server or from the cache.
const size_t kMaxDocumentSize = 1048576;
// JSON that the library rewrites can be longer than its source. The worst case is a list of
// numbers such as 0.1: "0.1," (4 bytes) comes back as "0.10000000000000001, " (21 bytes), 5.25
// times as much. No text grows more: an escaped or a multi-byte character at most doubles.
const size_t kDumpedJsonFactor = 6;

// IZOSturdyLBSService::GetLinkAddress and PeekLinkAddress, `host`. An address text longer than
// 511 bytes, or with a port above 65535, from a document or from the settings, is ignored.
const size_t kLinkHostBufferSize = 512;
const size_t kLBSResponseBufferSize = kMaxDocumentSize + 1;                    // GetLBSResponse
const size_t kVltDLBufferSize = kMaxDocumentSize + 1;                          // GetVltDL
const size_t kVltDLListBufferSize = kDumpedJsonFactor * kMaxDocumentSize + 1;  // GetVltDLList
const size_t kVltListBufferSize = kDumpedJsonFactor * kMaxDocumentSize + 1;    // GetVltList
const size_t kNameBufferSize = kMaxDocumentSize + 1;                           // GetName
const size_t kDescBufferSize = kMaxDocumentSize + 1;                           // GetDesc
// IZOSturdyObject::QueryHost. Each of the two lists of addresses ends before kMaxDocumentSize
// bytes of output text. The library ignores what a server sends beyond that.
const size_t kQueryHostBufferSize = 2 * kMaxDocumentSize + 1;

// ---------------------------------------------------------------------------------------------
// Records. They are plain bytes of a fixed layout, so client and library may come from different
// compilers. Zero a record before you fill it: an empty text or a 0 means "not given".

// The settings of an environment. Texts end with a NUL, or at the end of their array.
struct _ZOSturdyEnvironmentSettings {
  char business[32];           // business name, also sent to HTTP DNS; empty: "im_g1"
  char business_token[128];    // the application's key; may be empty and come later
  char sdk_version_text[128];  // the client's version as text, sent to HTTP DNS
  int32_t sv;                  // sent to the LBS servers as "sv", and to HTTP DNS
  int32_t pv;                  // sent to the LBS servers as "pv"
  int32_t tp;                  // sent to the LBS servers as "tp", and to HTTP DNS
  // Folder (UTF-8) under which all files live: cache and log, in "sturdy_comp/<32 digits>/". It is
  // created if it is missing. The files contain the token; only the user that runs the process may
  // read them. A relative path is taken from the working directory at the start. An empty one is an
  // error of the caller: the files go below "/", where most processes may not write. On Windows
  // that is the root of the current drive, where most users may. If the folder can't be made or
  // written, no call fails: the library works without a cache and a log.
  char data_path[1024];
};

// The settings of the LBS service. An empty default link selects the built-in one. An empty
// default_link_list is filled with the defaults of the wanted family. A URL of 512 bytes, so
// without a NUL, counts as empty. TLS doesn't check certificates: authenticate the link servers.
// The URLs are asked until a document names its own: its "lbs" replaces lbs_url, and its
// "lbs.backup" the backups, also for later starts. So let your documents keep a URL that always
// works in "lbs.backup".
struct _ZOSturdyLBSSettings {
  bool enable;                        // false: built-in values; only failure reports use the family
  char lbs_url[512];                  // first LBS URL (http or https); empty: the built-in one
  char lbs_backup_urls[5][512];       // further LBS URLs; no built-in one is added
  char default_link_v4[128];          // "host:port" of the default IPv4 link server
  char default_link_v6[128];          // "host:port" of the default IPv6 link server
  char default_link_list[5][128];     // link servers to use before any server has answered
  char reserved[643];                 // keeps the layout; never read
  net::AddressFamily address_family;  // the family that the client wants
};

// The output of GetMsgStatInfo: whether and where the client reports received messages. Texts end
// with a NUL; longer ones are cut.
struct _ZOSturdyMsgStatInfo {
  uint8_t enable;  // 0 or 1
  char host[512];  // scheme and host of the endpoint
  char api[512];   // path of the endpoint
  char desc[128];
};
const size_t kMsgStatInfoBufferSize = sizeof(_ZOSturdyMsgStatInfo);

static_assert(sizeof(bool) == 1, "the records need a bool of one byte");
static_assert(sizeof(net::AddressFamily) == 4, "a family is a 32-bit word");
static_assert(sizeof(_ZOSturdyEnvironmentSettings) == 1324 &&
                  offsetof(_ZOSturdyEnvironmentSettings, sv) == 288 &&
                  offsetof(_ZOSturdyEnvironmentSettings, data_path) == 300,
              "layout of the environment's settings");
static_assert(sizeof(_ZOSturdyLBSSettings) == 4616 &&
                  offsetof(_ZOSturdyLBSSettings, lbs_url) == 1 &&
                  offsetof(_ZOSturdyLBSSettings, lbs_backup_urls) == 513 &&
                  offsetof(_ZOSturdyLBSSettings, default_link_v4) == 3073 &&
                  offsetof(_ZOSturdyLBSSettings, default_link_v6) == 3201 &&
                  offsetof(_ZOSturdyLBSSettings, default_link_list) == 3329 &&
                  offsetof(_ZOSturdyLBSSettings, address_family) == 4612,
              "layout of the LBS service's settings");
static_assert(sizeof(_ZOSturdyMsgStatInfo) == 1153, "layout of the message statistics");

// ---------------------------------------------------------------------------------------------
// The LBS service: the document of link servers, and the choice among them.
//
// The pointer is valid until ReleaseLBSService or the exit of the environment. Before Start, all
// operations except Start, SetUpdateCallback and GetMsgStatInfo return false or 0, or write
// nothing.
class IZOSturdyLBSService {
 public:
  // Starts the service once; a later call changes nothing and returns true. Before it returns, it
  // reads the cache of the last run or builds a document from the defaults, so GetLinkAddress has
  // an answer at once. Then, if a token is set, it fetches a new document in the background.
  // Returns false if the environment has been exited.
  // `settings.address_family`: for fetches and links, a value above 2 counts as IPv4.
  // Throws std::exception if there is no memory or no thread left. The service isn't started then,
  // and another Start tries again.
  // Blocks: while it reads and writes one cache file and starts a thread.
  virtual bool Start(const _ZOSturdyLBSSettings& settings) = 0;

  // Fetches a new document in the background; the update callback reports the outcome. Does nothing
  // while a fetch is under way. The one that the callback reports has ended, so a call inside the
  // callback counts, unless another one has begun since.
  // `family`: URLs whose host is an address of another family are left out. With kIPFamilyAny no
  // URL is left out. With a value without a name, every URL whose host is an address is left out.
  // If no URL is left, the fetch stays under way until the token changes or, with a token set, the
  // network's family does.
  // A later start whose settings want IPv4 or IPv6 ignores a document that was fetched for another
  // `family`, kIPFamilyAny included.
  virtual void Update(net::AddressFamily family) = 0;

  // Sets the function to call after each fetch; null for none. `code` is 200 if `lbs_response` is
  // the document that has just arrived, and 0 if the fetch failed and it is the old document.
  // Calls come on the service's own thread, one at a time. `lbs_response` is valid during the call
  // only. The function may call every operation of this header. Inside it GetLBSResponse never
  // waits, and ReleaseLBSService and ExitSturdyEnvironment only write a log line, since they would
  // wait for their own thread. The function must not throw. Long work in it delays further fetches
  // and the exit. A call that has begun may end after another function is set, but not after
  // ReleaseLBSService or ExitSturdyEnvironment has returned.
  virtual void SetUpdateCallback(void (*callback)(int code, const char* lbs_response)) = 0;

  // Writes the active document, which is JSON text. `out`: kLBSResponseBufferSize bytes, zeroed.
  // Blocks: with `no_wait` false, until the fetch under way ends. With dead servers a fetch takes
  // some seconds for each URL, and the slowest look-up of a name: 10 to 20 s without any answer.
  // Then HTTP DNS is asked for the names, as long as a QueryHost takes, and a second pass over its
  // addresses takes some seconds for each again. A release or an exit on another thread ends the
  // wait, and then nothing is written. With `no_wait` true it doesn't block.
  virtual void GetLBSResponse(bool no_wait, char* out) = 0;

  // Writes the next address to connect to: the servers of the document in turn, then a default,
  // then the first server again. The third default since the last request for a fetch causes one,
  // unless one is under way, or one that defaults caused has ended less than 1200 ms before.
  // `host`: kLinkHostBufferSize bytes, zeroed; a host name, or an address, IPv6 in brackets.
  // `*port`: in host byte order; 0 if the list gives none.
  // `*family`: in, the wanted family: servers that are addresses of another family are skipped.
  // With kIPFamilyAny no server is skipped. A default is returned whatever its family.
  // Out, the family of the address, kIPFamilyAny for a host name.
  // Returns true, except before Start or with a null pointer. The host is empty only if no server
  // fits and `*family` is a value without a name, or if the text in the list has no host (":80").
  virtual bool GetLinkAddress(char* host, uint16_t* port, net::AddressFamily* family) = 0;

  // Write values of the document: the download address "vltdl", the lists "vltdls" and "vlt" as
  // JSON text, "name" and "desc". A value that the document lacks is that of an earlier document,
  // also of an earlier run unless the start ignored its cache; if none had it, nothing is written.
  // `out`: kVltDLBufferSize, kVltDLListBufferSize, kVltListBufferSize, kNameBufferSize or
  // kDescBufferSize bytes, zeroed.
  virtual void GetVltDL(char* out) = 0;
  virtual void GetVltDLList(char* out) = 0;
  virtual void GetVltList(char* out) = 0;
  virtual void GetName(char* out) = 0;
  virtual void GetDesc(char* out) = 0;

  // Returns the number of link servers in the list, without the default. Before any document has
  // arrived, the list is that of the settings. Takes no lock.
  virtual int32_t GetLinkHostCount() = 0;

  // Writes the next server of the list without advancing. Returns false and writes nothing if the
  // list is used up or empty. Buffers as for GetLinkAddress; `*family` is output only.
  virtual bool PeekLinkAddress(char* host, uint16_t* port, net::AddressFamily* family) = 0;

  // Reports that a connection to this address worked: GetLinkAddress returns it again next time.
  // An address that isn't in the list resets the rotation to the first server. `port`: the port
  // from GetLinkAddress, converted; one above 32767 becomes negative and is never found.
  virtual void HoldLinkAddress(const char* ip, int16_t port) = 0;

  // Writes whether and where to report received messages. `out`: one _ZOSturdyMsgStatInfo
  // (kMsgStatInfoBufferSize bytes, any alignment); all of it is written. Before Start, and until a
  // document has "msg.stat.enable", these are built-in values that switch the reports off.
  virtual void GetMsgStatInfo(char* out) = 0;

 protected:
  ~IZOSturdyLBSService() = default;
};

// ---------------------------------------------------------------------------------------------
// A client's handle on its environment. The pointer is valid until the environment is exited.
class IZOSturdyObject {
 public:
  // Reports the family of the client's network. With a token set, the service fetches a new
  // document; if the family has changed, also while a fetch is under way. Before the service's
  // Start it has no effect.
  virtual void NotifyNetworkChanged(net::AddressFamily family) = 0;

  // Returns the LBS service. The first call creates it, not started; later calls return the same.
  virtual IZOSturdyLBSService* GetLBSService() = 0;

  // Stops and destroys the service. The next GetLBSService creates a new one, which needs a Start;
  // one that runs meanwhile may return null. From inside the update callback it only writes a log
  // line. In a forked child it does nothing.
  // Blocks: until a running callback has returned and an arriving document is stored. Doesn't wait
  // for a fetch in flight.
  virtual void ReleaseLBSService() = 0;

  // Resolves a host name through the HTTP DNS service. Writes JSON text to `out`
  // (kQueryHostBufferSize bytes, zeroed): {"code":1} with a result of false if the host can't be
  // resolved or is an address already, else an object with "code" 200 and "data", in which "ipv4"
  // and "ipv6" list the addresses. `ip_family`: 0 both, 1 IPv4, every other value IPv6.
  // Blocks: until the HTTP DNS service answers or fails: 2 s for each silent endpoint except the
  // last, then at most 37 s for the requests in flight (7 s to connect, 30 s to send and receive);
  // on Windows more, as kExitBoundSeconds tells. That is about 21 s with the built-in endpoints if
  // none accepts a connection. Look-ups of host names by the system's resolver come on top. An exit
  // ends the wait. For a known host it doesn't wait. But in the last part of the lifetime of its
  // addresses, each call sends a request of its own, until one is answered. If no endpoint accepts
  // a connection, 60 calls keep the 12 threads that transfer busy for 35 s for each endpoint. A
  // fetch that begins at once waits 35 s, and a later one for the rest of the whole time. So keep
  // the result; don't ask often.
  virtual bool QueryHost(const char* host, int32_t ip_family, char* out) = 0;

  // Changes the application's key; an empty text removes it. Once the service is started, each
  // change causes a fetch, a removal too. The same key again does nothing. A fetch under way isn't
  // cancelled: it asks further URLs with the old key while they are silent, and its first answer
  // ends it and is ignored. Failures that have been recorded keep the old key. Updates of the HTTP
  // DNS endpoints send the key of the environment's start until the exit.
  virtual void SetBusinessToken(const char* token) = 0;

 protected:
  ~IZOSturdyObject() = default;
};

// ---------------------------------------------------------------------------------------------
// The exported functions.

// The longest time of an exit, in seconds, with requests in flight: 7 s to connect and 30 s to send
// the request and receive the answer, redirects included. The look-up of a host name by the
// system's resolver comes on top, or two if a redirect comes last, and the library can't bound
// their time. With common settings of a resolver, a look-up without any answer takes 10 to 20 s.
// The client's own update callback, if it is running, runs beside all that; the exit waits for it
// too. An exit ends a waiting QueryHost at once, with a result of false. Without a request in
// flight (fetch, QueryHost, update of the HTTP DNS service, report of failures) an exit takes
// milliseconds. The first start always sends one: the built-in endpoints of the HTTP DNS service
// count as expired, so the library updates them at once. On Windows each address of a name has its
// own 7 s, five addresses at most, and the handshake of TLS has 7 s more: 72 s at worst, and one
// second more if a call to the system has just begun by then.
const int kExitBoundSeconds = 7 + 30;

// Starts the environment and returns its id, which is 1; a process has one at most. If it is
// started already, returns the id and ignores `settings`. Starts and exits from several threads run
// one after the other. Inside the update callback it returns the id if the environment is started,
// and 0 if it is not or is being exited.
// Throws std::exception if there is no memory or no thread left; nothing is started then.
// Blocks: while it creates the log file and some threads and reads the two caches of HTTP DNS, of
// which it may write one, and while a start or exit is under way.
STURDY_EXPORT int StartSturdyEnvironment(const _ZOSturdyEnvironmentSettings& settings);

// Returns the object of the environment with this id, or null if there is none.
// Blocks: while an exit with an unknown id is under way; inside the update callback it returns null
// instead.
STURDY_EXPORT IZOSturdyObject* GetSturdyObject(int id);

// Exits the environment, whatever `id` is. Stops the services, ends every thread of the library
// and invalidates all pointers that it has returned. Sends and saves nothing. A client needn't call
// it before the end of the process. Inside the update callback it only writes a log line. In a
// forked child it does nothing.
// Call it before dlclose or FreeLibrary, but don't call it, or another call that waits, in a
// constructor or destructor that these or dlopen run, nor in DllMain: the system's loader is locked
// then, and a thread that loads libcurl for the first request, or on Windows one that ends, waits
// for the loader.
// Blocks: until the transfers in flight end and a running update callback has returned; see
// kExitBoundSeconds.
STURDY_EXPORT void ExitSturdyEnvironment(int id);

}  // namespace zo_sturdy
