// The whole public face of sturdy_comp: all that a client includes, plain C++11.
//
// The library answers one question for a messaging client: where do I connect? A client
//   1. fills _ZOSturdyEnvironmentSettings and calls StartSturdyEnvironment,
//   2. gets the environment's object by GetSturdyObject and its service by GetLBSService,
//   3. fills _ZOSturdyLBSSettings and calls Start on the service,
//   4. calls GetLinkAddress before each attempt to connect and HoldLinkAddress after a good one,
//   5. calls ExitSturdyEnvironment when it is done.
//
// Threads: every function and operation may be called from any thread of the client, several at
//          once, except where a comment says otherwise. ReleaseLBSService and
//          ExitSturdyEnvironment must not run beside other calls on what they end: the pointers
//          that a client holds are not protected against them.
// Owner:   the library owns every object behind a pointer that it hands out; a client never
//          deletes one. Records and texts that go in are copied before the call returns. Out
//          buffers are the client's.
// Errors:  there are no error codes: results are a bool, a text or a null pointer. A null pointer
//          where a text or an output is due makes the call do nothing, with a result of false.
//          A call out of order does nothing either. No operation throws, bar
//          the two that make threads: StartSturdyEnvironment and the service's Start.
// Texts:   a text that goes in ends at its NUL; one inside an array of a record ends at the end
//          of the array at the latest. A text that comes out is written WITHOUT its NUL and
//          without a length: zero the buffer first, and make it as large as the k...BufferSize
//          constant that the operation names. Those sizes have room for the NUL, and no operation
//          writes more than its size, whatever the servers send.
// Blocking: an operation that says nothing of it takes a lock for some memory work at most. None
//          waits for the network but those that say so.
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

#if defined(__GNUC__)
#define STURDY_EXPORT __attribute__((visibility("default")))
#else
#define STURDY_EXPORT
#endif

namespace net {

// Which kind of addresses is meant. Stored in 32 bits; the library reads every value, and treats
// one that isn't named here as the operation's comment tells.
enum AddressFamily : int32_t {
  kIPFamilyAny = 0,  // unspecified, or both
  kIPFamilyV4 = 1,
  kIPFamilyV6 = 2,
};

}  // namespace net

namespace zo_sturdy {

// ---------------------------------------------------------------------------------------------
// Sizes of out buffers, in bytes. They follow from one bound: the library reads at most
// kMaxDocumentSize bytes of a server's answer.

// The largest document that is accepted from a server or from the cache.
const size_t kMaxDocumentSize = 1048576;
// JSON that the library writes anew can be longer than its source. The worst case is a list of
// numbers such as 0.1: "0.1," (4 bytes) comes back as "0.10000000000000001, " (21 bytes), 5.25
// times as much. No text grows more: an escaped or a multi-byte character at most doubles.
const size_t kDumpedJsonFactor = 6;

// IZOSturdyLBSService::GetLinkAddress and PeekLinkAddress, `host`. An address text longer than
// 511 bytes, from a document or from the settings, is passed over.
const size_t kLinkHostBufferSize = 512;
const size_t kLBSResponseBufferSize = kMaxDocumentSize + 1;                    // GetLBSResponse
const size_t kVltDLBufferSize = kMaxDocumentSize + 1;                          // GetVltDL
const size_t kVltDLListBufferSize = kDumpedJsonFactor * kMaxDocumentSize + 1;  // GetVltDLList
const size_t kVltListBufferSize = kDumpedJsonFactor * kMaxDocumentSize + 1;    // GetVltList
const size_t kNameBufferSize = kMaxDocumentSize + 1;                           // GetName
const size_t kDescBufferSize = kMaxDocumentSize + 1;                           // GetDesc
// IZOSturdyObject::QueryHost. Each of the two lists of addresses ends before kMaxDocumentSize
// bytes, as they are written; what a server sends beyond that is passed over.
const size_t kQueryHostBufferSize = 2 * kMaxDocumentSize + 1;

// ---------------------------------------------------------------------------------------------
// Records. Plain bytes of a fixed layout, so that client and library may come from different
// compilers. Zero a record before filling it: an empty text or a 0 means "not given".

// The settings of an environment. Texts end with a NUL, or at the end of their array.
struct _ZOSturdyEnvironmentSettings {
  char business[32];           // business name; empty: "im_g1"
  char business_token[128];    // the application's key; may be empty and come later
  char sdk_version_text[128];  // the client's version as text
  int32_t sv;                  // sent to the LBS servers as "sv"
  int32_t pv;                  // sent to the LBS servers as "pv"
  int32_t tp;                  // sent to the LBS servers as "tp"
  // Folder (UTF-8) under which all files live: cache and log, in "sturdy_comp/<32 digits>/". It is
  // made if it is missing. The files hold the token, and only the user that runs the process may
  // read them.
  char data_path[1024];
};

// The settings of the LBS service. A default link that is empty is the built-in one, and a list
// that is empty is made of the defaults of the wanted family.
struct _ZOSturdyLBSSettings {
  bool enable;                        // false: everything but address_family is ignored
  char lbs_url[512];                  // first LBS URL (http or https); empty: the built-in one
  char lbs_backup_urls[5][512];       // further LBS URLs; they replace all built-in ones
  char default_link_v4[128];          // "host:port" of the default IPv4 link server
  char default_link_v6[128];          // "host:port" of the default IPv6 link server
  char default_link_list[5][128];     // link servers to use before any server has answered
  char reserved[643];                 // keeps the layout; never read
  net::AddressFamily address_family;  // the family that the client wants
};

// What GetMsgStatInfo writes: whether and where the client is to report received messages. Texts
// end with a NUL; longer ones are cut.
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
// The pointer stays good until ReleaseLBSService or the exit of the environment. Before Start all
// operations but Start and SetUpdateCallback give false, 0 or nothing.
class IZOSturdyLBSService {
 public:
  // Starts the service, once: a later call changes nothing and returns true. It reads the cache
  // of the last run (or builds a document from the defaults) before it returns, so that
  // GetLinkAddress answers at once, and then, with a token set, fetches a new document in the
  // background. False if the environment has been exited.
  // `settings.address_family`: a value above 2 is passed on, but leaves the service at IPv4.
  // Throws std::exception (no memory, no thread left); then the service isn't started, and another
  // Start tries again.
  // Blocks: for reading and writing one cache file and for the start of a thread.
  virtual bool Start(const _ZOSturdyLBSSettings& settings) = 0;

  // Asks for a new document, for URLs of this family. Dropped while a fetch is under way. The
  // outcome comes through the update callback.
  virtual void Update(net::AddressFamily family) = 0;

  // Sets the function that is called after each fetch, null for none: `code` is 200 if the
  // document in `lbs_response` has just come, and 0 if the fetch failed and it is the old one.
  // It is called on the service's own thread, one call at a time, and `lbs_response` is good for
  // the call alone. Inside it every operation of this header may be called; there GetLBSResponse
  // never waits, and ReleaseLBSService and ExitSturdyEnvironment only write a line to the log,
  // since they would wait for the very thread that calls them. It must not throw. Long work in it
  // delays further fetches and the exit. A call that has begun may end after the setting of
  // another function, but not after ReleaseLBSService or ExitSturdyEnvironment has returned.
  virtual void SetUpdateCallback(void (*callback)(int code, const char* lbs_response)) = 0;

  // Writes the active document. `out`: kLBSResponseBufferSize bytes, zeroed.
  // Blocks: with `no_wait` false until the fetch under way is over, which with dead servers takes
  // some time for each URL, or until the service stops; with `no_wait` true not at all.
  virtual void GetLBSResponse(bool no_wait, char* out) = 0;

  // The next address to connect to: the servers of the document in turn, then a default, then the
  // first again. Three defaults handed out cause a fetch. `*family` goes in as the family wanted
  // and comes out as that of the answer, kIPFamilyAny for a host name. `host`:
  // kLinkHostBufferSize bytes, zeroed; an IPv6 address stands in brackets. `*port`: in host order.
  // True, bar before Start and with a null pointer. A true answer can have an empty host, if
  // neither list nor defaults have an address.
  virtual bool GetLinkAddress(char* host, uint16_t* port, net::AddressFamily* family) = 0;

  // Download addresses, address list, name and description that the document carries for the
  // client; nothing is written for one that it lacks. The lists are JSON text. `out`:
  // kVltDLBufferSize, kVltDLListBufferSize, kVltListBufferSize, kNameBufferSize or
  // kDescBufferSize bytes, zeroed.
  virtual void GetVltDL(char* out) = 0;
  virtual void GetVltDLList(char* out) = 0;
  virtual void GetVltList(char* out) = 0;
  virtual void GetName(char* out) = 0;
  virtual void GetDesc(char* out) = 0;

  // The number of link servers in the list, without the default behind it. Before any document has
  // come, the list is that of the settings. Takes no lock.
  virtual int32_t GetLinkHostCount() = 0;

  // The server that stands next in the list, without moving on. False, with nothing written, if
  // the list is spent or empty. Buffers as for GetLinkAddress; what `*family` holds isn't read.
  virtual bool PeekLinkAddress(char* host, uint16_t* port, net::AddressFamily* family) = 0;

  // Tells that a connection to this address worked: GetLinkAddress gives it again next time. An
  // address that isn't in the list sets the rotation back to the first. `port`: as it came from
  // GetLinkAddress, converted; a port above 32767 turns negative and so is never found.
  virtual void HoldLinkAddress(const char* ip, int16_t port) = 0;

  // Where and whether to report received messages. `out`: room for one _ZOSturdyMsgStatInfo
  // (kMsgStatInfoBufferSize bytes, any alignment), all of which is written.
  virtual void GetMsgStatInfo(char* out) = 0;

 protected:
  ~IZOSturdyLBSService() = default;
};

// ---------------------------------------------------------------------------------------------
// What a client holds of an environment. The pointer stays good until the environment is exited.
class IZOSturdyObject {
 public:
  // Tells that the client's network now has this family. With a token set the service fetches a
  // new document, in any case if the family has changed.
  virtual void NotifyNetworkChanged(net::AddressFamily family) = 0;

  // The LBS service, made at the first call and not started; later calls give the same one.
  virtual IZOSturdyLBSService* GetLBSService() = 0;

  // Stops the service and gives it up; the next GetLBSService makes a new one, to be started
  // anew. From inside the update callback it does nothing but log.
  // Blocks: until a callback that is running has returned and a document that is arriving has been
  // stored. A fetch in flight isn't waited for.
  virtual void ReleaseLBSService() = 0;

  // Resolves a host name through the HTTP DNS service. Writes JSON text to `out`
  // (kQueryHostBufferSize bytes, zeroed): {"code":1} with a result of false if the host can't be
  // resolved or is an address already, else an object with "code" 200 and "data", in which "ipv4"
  // and "ipv6" list the addresses. `ip_family`: 0 both, 1 IPv4, every other value IPv6.
  // Blocks: for as long as the HTTP DNS service takes to answer or to fail: 2 s for each silent
  // endpoint but the last, and then at most 37 s for those still in flight (7 s to connect, 30 s to
  // send and to receive). That is about 21 s with the built-in endpoints when none takes a
  // connection. To this come look-ups of host names by the system's resolver. An exit ends the
  // wait.
  virtual bool QueryHost(const char* host, int32_t ip_family, char* out) = 0;

  // Changes the application's key; an empty text takes it away. A new key causes a fetch, also
  // beside one that is under way, whose answer is then ignored. The same key again does nothing.
  virtual void SetBusinessToken(const char* token) = 0;

 protected:
  ~IZOSturdyObject() = default;
};

// ---------------------------------------------------------------------------------------------
// The exported functions.

// How long an exit can take, in seconds, with requests in flight: 7 s to connect and 30 s to send
// the request and receive the answer, redirects included. To this come the look-ups of host names
// by the system's resolver, whose time the library can't bound: one of the transfer itself, one if
// the transfer is redirected at the last moment, and one for each of two threads that may be
// looking into a failed URL. As resolvers are commonly set up, a look-up without any answer takes
// 10 to 20 s. A QueryHost that is waiting is ended, with a result of false, and adds nothing: at
// once by an exit with the environment's id, and after the transfers in flight by one with another
// id. Without a request in flight (fetch, QueryHost, update of the HTTP DNS service, report of
// failures) an exit takes milliseconds. The first start always has one: the built-in endpoints of
// the HTTP DNS service count as expired, so an update of them is sent at once.
const int kExitBoundSeconds = 7 + 30;

// Starts the environment and returns its id, which is 1; there is at most one in a process. If it
// is started already, the call returns the id and ignores `settings`. Starts and exits from
// several threads run one after the other. From inside the update callback the call returns the
// id if the environment is started, and 0 if it is not or is being exited.
// Throws std::exception (no memory, no thread left); then nothing has been started.
// Blocks: for the creation of the log file and some threads, and for a start or exit under way.
STURDY_EXPORT int StartSturdyEnvironment(const _ZOSturdyEnvironmentSettings& settings);

// The object of the environment with this id, or null if there is none.
// Blocks: while an exit with an unknown id is under way; inside the update callback it gives null
// then.
STURDY_EXPORT IZOSturdyObject* GetSturdyObject(int id);

// Exits the environment, whatever `id` is: the services stop, every thread of the library ends and
// all pointers that it has handed out become invalid. Nothing is sent or saved. A client needn't
// call it before the end of the process. From inside the update callback it does nothing but log.
// Blocks: for transfers in flight, for kExitBoundSeconds and the look-ups named there at most, and
// until an update callback that is running has returned.
STURDY_EXPORT void ExitSturdyEnvironment(int id);

}  // namespace zo_sturdy
