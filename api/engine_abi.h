#ifndef TARNIS_API_ENGINE_ABI_H
#define TARNIS_API_ENGINE_ABI_H

/*
 * The binary interface of a filtering engine, `trfilter.so`: records, tables of function pointers,
 * slot numbers, flag bits and option ids. Plain C, so that any side can be written in any language.
 *
 * All records are for 64-bit, little-endian Linux. Fields stand in the order and at the offsets
 * that the assertions below each record state; bytes without a field are zero.
 * docs/engine-interface.md shows each record as a table.
 *
 * Ownership: what the engine allocates is handed back to the engine's own release operation, what
 * the host allocates is the host's. A context, stream or container is used by one thread at a time.
 */

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define TR_STATIC_ASSERT static_assert
extern "C" {
#else
#define TR_STATIC_ASSERT _Static_assert
#endif

#define TR_ASSERT_SIZE(record, bytes) \
  TR_STATIC_ASSERT(sizeof(record) == (bytes), "size of " #record)
#define TR_ASSERT_OFFSET(record, field, bytes) \
  TR_STATIC_ASSERT(offsetof(record, field) == (bytes), "offset of " #record "." #field)

/* ---- Request headers ------------------------------------------------------------------------ */

/* Every request record starts with this word: its size in bytes times 65,536 plus 0x2F30. */
#define TR_HEADER_WORD(bytes) (UINT64_C(65536) * (bytes) + UINT64_C(0x2F30))

/* ---- Entry points --------------------------------------------------------------------------- */

#define TR_FILTER_ENTRY_POINT "TR_GetFilterInterfaceEx"
#define TR_EXTRACT_ENTRY_POINT "TRGetExtractInterface"
#define TR_INTERFACE_REVISION 8
#define TR_FILTER_SLOT_COUNT 56

/* ---- Flag word ------------------------------------------------------------------------------ */

/* Passed at start-up (the in-process pair alone) and with every opening of a stream (all bits). */
#define TR_FLAG_IN_PROCESS 0x80004000u
#define TR_FLAG_OUT_OF_PROCESS 0x10008000u
#define TR_FLAG_OUT_OF_PROCESS_LOG_ON 0x00200000u
#define TR_FLAG_OUT_OF_PROCESS_LOG_OFF 0x00080000u
#define TR_FLAG_OUT_OF_PROCESS_MEMORY_LOG_ON 0x00100000u
#define TR_FLAG_OUT_OF_PROCESS_MEMORY_LOG_OFF 0x00040000u
#define TR_FLAG_HEADER_AND_FOOTER 0x04000000u
#define TR_FLAG_HEADER_AND_FOOTER_TAGS 0x08000000u
#define TR_FLAG_UNICODE_BYTE_ORDER_MARKER 0x00800000u
#define TR_FLAG_NO_ENCODING_CONVERSION 0x00400000u

/* ---- Option ids of the set-option operation ------------------------------------------------- */

enum {
  TR_OPTION_TEMPORARY_DIRECTORY = 2, /* pointer: C string */
  TR_OPTION_PASSWORD = 4,            /* value 1, pointer: C string */
  TR_OPTION_PDF_LOGICAL_READING = 5, /* 0 automatic, 1 raw, 2 left to right, 3 right to left */
  TR_OPTION_REVISION_MARKS = 6,      /* value: 0 or 1, as for all that follow without a note */
  TR_OPTION_SKIP_THUMBNAIL = 7,
  TR_OPTION_HIDDEN_TEXT = 8,
  TR_OPTION_SKIP_COMMENTS = 9,
  TR_OPTION_DATE_TIME_FIELD_CODES = 10,
  TR_OPTION_SKIP_EMBEDDED_FONTS = 11,
  TR_OPTION_FILENAME_FIELD_CODE = 12,
  TR_OPTION_SOFT_HYPHENS = 13,
  TR_OPTION_CUSTOM_PDF_METADATA = 15,
  TR_OPTION_TAGGED_PDF_CONTENT = 16,
  TR_OPTION_TARGET_ENCODING = 18, /* value: character-set number */
  TR_OPTION_CHARACTER_SET_DETECTION = 25
};

/* ---- Character sets ------------------------------------------------------------------------- */

/* Every character-set number: X(number, identifier, registered name). Number 0 is no character set:
 * as a source it lets the engine decide. */
#define TR_CHARACTER_SETS(X)                         \
  X(0, automatic, "")                                \
  X(1, us_ascii, "US-ASCII")                         \
  X(2, iso_8859_1, "ISO-8859-1")                     \
  X(3, iso_8859_2, "ISO-8859-2")                     \
  X(4, iso_8859_3, "ISO-8859-3")                     \
  X(5, iso_8859_4, "ISO-8859-4")                     \
  X(6, iso_8859_5, "ISO-8859-5")                     \
  X(7, iso_8859_6, "ISO-8859-6")                     \
  X(8, iso_8859_7, "ISO-8859-7")                     \
  X(9, iso_8859_8, "ISO-8859-8")                     \
  X(10, iso_8859_9, "ISO-8859-9")                    \
  X(11, iso_8859_10, "ISO-8859-10")                  \
  X(12, iso_8859_13, "ISO-8859-13")                  \
  X(13, iso_8859_14, "ISO-8859-14")                  \
  X(14, iso_8859_15, "ISO-8859-15")                  \
  X(15, iso_8859_16, "ISO-8859-16")                  \
  X(16, windows_874, "windows-874")                  \
  X(17, windows_1250, "windows-1250")                \
  X(18, windows_1251, "windows-1251")                \
  X(19, windows_1252, "windows-1252")                \
  X(20, windows_1253, "windows-1253")                \
  X(21, windows_1254, "windows-1254")                \
  X(22, windows_1255, "windows-1255")                \
  X(23, windows_1256, "windows-1256")                \
  X(24, windows_1257, "windows-1257")                \
  X(25, windows_1258, "windows-1258")                \
  X(26, ibm_437, "IBM437")                           \
  X(27, ibm_850, "IBM850")                           \
  X(28, ibm_852, "IBM852")                           \
  X(29, ibm_855, "IBM855")                           \
  X(30, ibm_857, "IBM857")                           \
  X(31, ibm_862, "IBM862")                           \
  X(32, ibm_864, "IBM864")                           \
  X(33, ibm_866, "IBM866")                           \
  X(34, koi8_r, "KOI8-R")                            \
  X(35, koi8_u, "KOI8-U")                            \
  X(36, macintosh, "macintosh")                      \
  X(37, mac_cyrillic, "x-mac-cyrillic")              \
  X(38, mac_greek, "x-mac-greek")                    \
  X(39, mac_central_europe, "x-mac-centraleurroman") \
  X(40, mac_turkish, "x-mac-turkish")                \
  X(41, shift_jis, "Shift_JIS")                      \
  X(42, euc_jp, "EUC-JP")                            \
  X(43, iso_2022_jp, "ISO-2022-JP")                  \
  X(44, euc_kr, "EUC-KR")                            \
  X(45, iso_2022_kr, "ISO-2022-KR")                  \
  X(46, gbk, "GBK")                                  \
  X(47, gb18030, "GB18030")                          \
  X(48, hz_gb_2312, "HZ-GB-2312")                    \
  X(49, big5, "Big5")                                \
  X(50, big5_hkscs, "Big5-HKSCS")                    \
  X(51, euc_tw, "EUC-TW")                            \
  X(52, tis_620, "TIS-620")                          \
  X(53, utf8, "UTF-8")                               \
  X(54, utf16_le, "UTF-16LE")                        \
  X(55, utf16_be, "UTF-16BE")                        \
  X(56, utf32_le, "UTF-32LE")                        \
  X(57, utf32_be, "UTF-32BE")                        \
  X(58, utf7, "UTF-7")                               \
  X(59, ibm_037, "IBM037")                           \
  X(60, ibm_273, "IBM273")                           \
  X(61, ibm_277, "IBM277")                           \
  X(62, ibm_278, "IBM278")                           \
  X(63, ibm_280, "IBM280")                           \
  X(64, ibm_284, "IBM284")                           \
  X(65, ibm_285, "IBM285")                           \
  X(66, ibm_297, "IBM297")                           \
  X(67, ibm_420, "IBM420")                           \
  X(68, ibm_424, "IBM424")                           \
  X(69, ibm_500, "IBM500")                           \
  X(70, ibm_870, "IBM870")                           \
  X(71, ibm_871, "IBM871")                           \
  X(72, ibm_875, "IBM875")                           \
  X(73, ibm_1025, "IBM1025")                         \
  X(74, ibm_1026, "IBM1026")                         \
  X(75, ibm_1047, "IBM1047")                         \
  X(76, ibm_1140, "IBM01140")                        \
  X(77, ibm_1141, "IBM01141")                        \
  X(78, ibm_1142, "IBM01142")                        \
  X(79, ibm_1143, "IBM01143")                        \
  X(80, ibm_1144, "IBM01144")                        \
  X(81, ibm_1145, "IBM01145")                        \
  X(82, ibm_1146, "IBM01146")                        \
  X(83, ibm_1147, "IBM01147")                        \
  X(84, ibm_1148, "IBM01148")                        \
  X(85, ibm_1149, "IBM01149")                        \
  X(86, ibm_720, "IBM720")                           \
  X(87, ibm_737, "IBM737")                           \
  X(88, ibm_775, "IBM775")                           \
  X(89, ibm_856, "IBM856")                           \
  X(90, ibm_858, "IBM00858")                         \
  X(91, ibm_860, "IBM860")                           \
  X(92, ibm_861, "IBM861")                           \
  X(93, ibm_863, "IBM863")                           \
  X(94, ibm_865, "IBM865")                           \
  X(95, ibm_868, "IBM868")                           \
  X(96, ibm_869, "IBM869")                           \
  X(97, ibm_1129, "IBM1129")                         \
  X(98, windows_31j, "Windows-31J")                  \
  X(99, windows_949, "windows-949")                  \
  X(100, windows_950, "windows-950")                 \
  X(101, iso_8859_11, "ISO-8859-11")                 \
  X(102, iso_2022_cn, "ISO-2022-CN")

#define TR_CHARACTER_SET_AUTOMATIC 0u
#define TR_CHARACTER_SET_UTF8 53u

/* ---- Streams and memory --------------------------------------------------------------------- */

/* A document, read by the engine through the host's callbacks. */
typedef struct tag_InputStream tag_InputStream;
struct tag_InputStream {
  void* user_data;
  void* reserved;
  int (*first)(tag_InputStream*); /* rewinds; 1 */
  /* bytes read, 0 at the end */
  uint32_t (*read)(tag_InputStream*, unsigned char* buffer, uint32_t count);
  int (*seek)(tag_InputStream*, int64_t offset, int whence); /* 1 for success, 0 for refusal */
  int64_t (*tell)(tag_InputStream*);
  int (*last)(tag_InputStream*); /* rewinds; 1 */
};
TR_ASSERT_SIZE(tag_InputStream, 56);
TR_ASSERT_OFFSET(tag_InputStream, user_data, 0);
TR_ASSERT_OFFSET(tag_InputStream, reserved, 8);
TR_ASSERT_OFFSET(tag_InputStream, first, 16);
TR_ASSERT_OFFSET(tag_InputStream, read, 24);
TR_ASSERT_OFFSET(tag_InputStream, seek, 32);
TR_ASSERT_OFFSET(tag_InputStream, tell, 40);
TR_ASSERT_OFFSET(tag_InputStream, last, 48);

/* A forward-only sink of bytes. */
typedef struct tag_OutputStream tag_OutputStream;
struct tag_OutputStream {
  void* user_data;
  int (*create)(tag_OutputStream*, const char* name);                                /* 1 */
  uint32_t (*write)(tag_OutputStream*, const unsigned char* buffer, uint32_t count); /* written */
  int (*seek)(tag_OutputStream*, int64_t offset, int whence); /* 1; nothing moves */
  int64_t (*tell)(tag_OutputStream*);                         /* 0 */
  int (*close)(tag_OutputStream*);                            /* 1 */
};
TR_ASSERT_SIZE(tag_OutputStream, 48);
TR_ASSERT_OFFSET(tag_OutputStream, user_data, 0);
TR_ASSERT_OFFSET(tag_OutputStream, create, 8);
TR_ASSERT_OFFSET(tag_OutputStream, write, 16);
TR_ASSERT_OFFSET(tag_OutputStream, seek, 24);
TR_ASSERT_OFFSET(tag_OutputStream, tell, 32);
TR_ASSERT_OFFSET(tag_OutputStream, close, 40);

/* The allocator that the host hands to the engine's initialisation; C heap semantics. */
typedef struct tag_MemoryStream tag_MemoryStream;
struct tag_MemoryStream {
  void* user_data;
  void* (*allocate)(tag_MemoryStream*, size_t size);
  void (*free)(tag_MemoryStream*, void* block);
  void* (*reallocate)(tag_MemoryStream*, void* block, size_t size);
  void* (*zero_allocate)(tag_MemoryStream*, size_t count, size_t size);
};
TR_ASSERT_SIZE(tag_MemoryStream, 40);
TR_ASSERT_OFFSET(tag_MemoryStream, user_data, 0);
TR_ASSERT_OFFSET(tag_MemoryStream, allocate, 8);
TR_ASSERT_OFFSET(tag_MemoryStream, free, 16);
TR_ASSERT_OFFSET(tag_MemoryStream, reallocate, 24);
TR_ASSERT_OFFSET(tag_MemoryStream, zero_allocate, 32);

/* ---- Filtering ------------------------------------------------------------------------------ */

/* One piece of text; the engine owns `bytes` until the block comes back for release. */
typedef struct tag_TRChunk {
  const unsigned char* bytes;
  uint32_t length; /* 0: the document is fully filtered */
  uint32_t padding;
  tag_OutputStream output;
} tag_TRChunk;
TR_ASSERT_SIZE(tag_TRChunk, 64);
TR_ASSERT_OFFSET(tag_TRChunk, bytes, 0);
TR_ASSERT_OFFSET(tag_TRChunk, length, 8);
TR_ASSERT_OFFSET(tag_TRChunk, padding, 12);
TR_ASSERT_OFFSET(tag_TRChunk, output, 16);

/* ---- Detection ------------------------------------------------------------------------------ */

enum {
  TR_ATTRIBUTE_ENCRYPTED = 1 << 0,
  TR_ATTRIBUTE_MAC_BINARY = 1 << 1,
  TR_ATTRIBUTE_APPLE_SINGLE = 1 << 2,
  TR_ATTRIBUTE_APPLE_DOUBLE = 1 << 3,
  TR_ATTRIBUTE_WANG_GDL = 1 << 4,
  TR_ATTRIBUTE_WINDOWS_RMS = 1 << 5
};

typedef struct DetectionResultRecord {
  uint32_t category;
  uint32_t format; /* 0: no format was found */
  uint64_t version;
  uint64_t attributes;
  uint64_t reserved;
} DetectionResultRecord;
TR_ASSERT_SIZE(DetectionResultRecord, 32);
TR_ASSERT_OFFSET(DetectionResultRecord, category, 0);
TR_ASSERT_OFFSET(DetectionResultRecord, format, 4);
TR_ASSERT_OFFSET(DetectionResultRecord, version, 8);
TR_ASSERT_OFFSET(DetectionResultRecord, attributes, 16);
TR_ASSERT_OFFSET(DetectionResultRecord, reserved, 24);

/* ---- Summary information -------------------------------------------------------------------- */

enum {
  TR_SUMMARY_TARGET_ENCODING_TEXT = 1, /* pointer to NUL-terminated text */
  TR_SUMMARY_INT32 = 2,                /* in the low half */
  TR_SUMMARY_FILETIME = 3,             /* pointer to a 64-bit count */
  TR_SUMMARY_BOOLEAN = 5,
  TR_SUMMARY_UTF16_TEXT = 6, /* pointer to NUL-terminated 16-bit units */
  TR_SUMMARY_DOUBLE = 7      /* pointer to a double */
};

typedef union tag_TRValueWord {
  uint64_t word;
  const void* pointer;
} tag_TRValueWord;

typedef struct tag_TRSumInfoElemEx {
  uint32_t present; /* 1: holds a value */
  uint32_t type;
  tag_TRValueWord value;
  const char* name;
} tag_TRSumInfoElemEx;
TR_ASSERT_SIZE(tag_TRSumInfoElemEx, 24);
TR_ASSERT_OFFSET(tag_TRSumInfoElemEx, present, 0);
TR_ASSERT_OFFSET(tag_TRSumInfoElemEx, type, 4);
TR_ASSERT_OFFSET(tag_TRSumInfoElemEx, value, 8);
TR_ASSERT_OFFSET(tag_TRSumInfoElemEx, name, 16);

typedef struct tag_TRSummaryInfoEx {
  uint32_t count;
  uint32_t padding;
  tag_TRSumInfoElemEx* elements;
} tag_TRSummaryInfoEx;
TR_ASSERT_SIZE(tag_TRSummaryInfoEx, 16);
TR_ASSERT_OFFSET(tag_TRSummaryInfoEx, count, 0);
TR_ASSERT_OFFSET(tag_TRSummaryInfoEx, elements, 8);

/* ---- The filter interface ------------------------------------------------------------------- */

/* Slots that a host calls; all others are present and unused. Each comment gives the type. */
enum {
  TR_SLOT_INITIALISE = 0,              /* tr_initialise */
  TR_SLOT_SHUT_DOWN = 1,               /* tr_shut_down */
  TR_SLOT_OPEN_STREAM = 3,             /* tr_open_stream */
  TR_SLOT_CLOSE_STREAM = 4,            /* tr_close_stream */
  TR_SLOT_PREPARE = 7,                 /* tr_prepare */
  TR_SLOT_NEXT_CHUNK = 8,              /* tr_next_chunk */
  TR_SLOT_GET_SUMMARY_INFO = 12,       /* tr_get_summary_info */
  TR_SLOT_FREE_SUMMARY_INFO = 14,      /* tr_free_summary_info */
  TR_SLOT_SET_TIMEOUT = 16,            /* tr_set_timeout */
  TR_SLOT_SET_SOURCE_ENCODING = 17,    /* tr_set_source_encoding */
  TR_SLOT_DETECT_FORMAT = 19,          /* tr_detect_format */
  TR_SLOT_SET_OPTION = 40,             /* tr_set_option */
  TR_SLOT_SET_EXTRACTION_TIMEOUT = 52, /* tr_set_timeout */
  TR_SLOT_RELEASE_CHUNK = 53           /* tr_release_chunk */
};

typedef void* (*tr_initialise)(tag_MemoryStream*, void* reserved, const char* bin_path,
                               uint32_t target_encoding, uint32_t flags); /* null on failure */
typedef int (*tr_shut_down)(void* context);
/* null on failure */
typedef void* (*tr_open_stream)(void* context, tag_InputStream*, uint32_t flags);
typedef int (*tr_close_stream)(void* context, void* stream);
typedef int (*tr_prepare)(void* context, void* stream);
typedef int (*tr_next_chunk)(void* context, void* stream, tag_TRChunk*, int reserved);
typedef int (*tr_release_chunk)(void* context, tag_TRChunk*);
typedef int (*tr_get_summary_info)(void* context, tag_InputStream*, tag_TRSummaryInfoEx*);
typedef int (*tr_free_summary_info)(void* context, tag_TRSummaryInfoEx*);
typedef int (*tr_set_timeout)(void* context, int64_t seconds);
typedef int (*tr_set_source_encoding)(void* context, uint32_t encoding);
/* Unlike all others: 0 on failure, anything else for success. */
typedef int (*tr_detect_format)(void* context, tag_InputStream*, DetectionResultRecord*);
typedef int (*tr_set_option)(void* context, uint32_t id, uint32_t value, const void* pointer);

typedef void (*tr_slot)(void);
typedef struct tag_TRFilterInterface {
  tr_slot slots[TR_FILTER_SLOT_COUNT];
} tag_TRFilterInterface;
TR_ASSERT_SIZE(tag_TRFilterInterface, 448);

typedef int (*tr_get_filter_interface)(tag_TRFilterInterface*, int revision);

/* ---- Containers ----------------------------------------------------------------------------- */

/* The kinds of tag_TRSubfileInfo.type. A host accepts no other number; 5 is never one. */
enum {
  TR_SUBFILE_FILE = 0,
  TR_SUBFILE_MESSAGE = 1,
  TR_SUBFILE_ATTACHMENT = 2,
  TR_SUBFILE_FOLDER = 3,
  TR_SUBFILE_EMBEDDED_OBJECT = 4,
  TR_SUBFILE_CONTACT = 6,
  TR_SUBFILE_APPOINTMENT = 7,
  TR_SUBFILE_TASK = 8,
  TR_SUBFILE_NOTE = 9,
  TR_SUBFILE_JOURNAL_ENTRY = 10
};

/* The kind of an extraction result whose bytes are stored outside the container. */
#define TR_EXTRACTED_EXTERNAL 8u

/* Option bit of an extraction: messages as formatted mail. */
#define TR_EXTRACT_FORMATTED_MAIL 8u

enum { TR_CREDENTIAL_PASSWORD = 2 };

typedef struct tag_TRCredential {
  uint32_t kind;
  uint32_t padding;
  const char* text;
} tag_TRCredential;
TR_ASSERT_SIZE(tag_TRCredential, 16);
TR_ASSERT_OFFSET(tag_TRCredential, kind, 0);
TR_ASSERT_OFFSET(tag_TRCredential, text, 8);

typedef struct tag_TRCredentials {
  uint32_t count;
  uint32_t padding;
  const tag_TRCredential* const* items;
} tag_TRCredentials;
TR_ASSERT_SIZE(tag_TRCredentials, 16);
TR_ASSERT_OFFSET(tag_TRCredentials, count, 0);
TR_ASSERT_OFFSET(tag_TRCredentials, items, 8);

typedef struct tag_TROpenRequest {
  uint64_t header; /* 0x402F30 */
  uint64_t reserved_8;
  const tag_TRCredentials* credentials;
  tag_InputStream* stream;
  uint64_t reserved_32[4];
} tag_TROpenRequest;
TR_ASSERT_SIZE(tag_TROpenRequest, 64);
TR_ASSERT_OFFSET(tag_TROpenRequest, header, 0);
TR_ASSERT_OFFSET(tag_TROpenRequest, credentials, 16);
TR_ASSERT_OFFSET(tag_TROpenRequest, stream, 24);

typedef struct tag_TRMainInfo {
  uint64_t reserved_0[2];
  int32_t subfile_count;
  uint32_t reserved_20;
} tag_TRMainInfo;
TR_ASSERT_SIZE(tag_TRMainInfo, 24);
TR_ASSERT_OFFSET(tag_TRMainInfo, subfile_count, 16);

typedef struct tag_TRSubfileInfo {
  uint64_t reserved_0[2];
  const char* name; /* raw, NUL-terminated */
  uint32_t type;
  uint32_t padding_28;
  int64_t size; /* bytes */
  uint64_t attribute_2;
  uint32_t attribute_3;
  uint32_t padding_52;
  int64_t time; /* FILETIME count */
  int32_t parent;
  int32_t child_count;
  const int32_t* children;
} tag_TRSubfileInfo;
TR_ASSERT_SIZE(tag_TRSubfileInfo, 80);
TR_ASSERT_OFFSET(tag_TRSubfileInfo, name, 16);
TR_ASSERT_OFFSET(tag_TRSubfileInfo, type, 24);
TR_ASSERT_OFFSET(tag_TRSubfileInfo, size, 32);
TR_ASSERT_OFFSET(tag_TRSubfileInfo, attribute_2, 40);
TR_ASSERT_OFFSET(tag_TRSubfileInfo, attribute_3, 48);
TR_ASSERT_OFFSET(tag_TRSubfileInfo, time, 56);
TR_ASSERT_OFFSET(tag_TRSubfileInfo, parent, 64);
TR_ASSERT_OFFSET(tag_TRSubfileInfo, child_count, 68);
TR_ASSERT_OFFSET(tag_TRSubfileInfo, children, 72);

typedef struct tag_TRExtractRequest {
  uint64_t header; /* 0x502F30 */
  uint64_t reserved_8;
  uint32_t index;
  uint32_t reserved_20[3];
  uint32_t options;
  uint32_t reserved_36[5];
  tag_OutputStream* output;
  uint64_t reserved_64[2];
} tag_TRExtractRequest;
TR_ASSERT_SIZE(tag_TRExtractRequest, 80);
TR_ASSERT_OFFSET(tag_TRExtractRequest, header, 0);
TR_ASSERT_OFFSET(tag_TRExtractRequest, index, 16);
TR_ASSERT_OFFSET(tag_TRExtractRequest, options, 32);
TR_ASSERT_OFFSET(tag_TRExtractRequest, output, 56);

typedef struct tag_TRExtractResult {
  uint64_t reserved_0[3];
  const char* location; /* where an external subfile is stored */
  uint64_t kind;
} tag_TRExtractResult;
TR_ASSERT_SIZE(tag_TRExtractResult, 40);
TR_ASSERT_OFFSET(tag_TRExtractResult, location, 24);
TR_ASSERT_OFFSET(tag_TRExtractResult, kind, 32);

typedef struct tag_TRMailRequest {
  uint64_t header; /* 0x302F30 */
  uint64_t reserved_8;
  uint32_t index;
  uint32_t reserved_20;
  uint64_t reserved_24[3];
} tag_TRMailRequest;
TR_ASSERT_SIZE(tag_TRMailRequest, 48);
TR_ASSERT_OFFSET(tag_TRMailRequest, header, 0);
TR_ASSERT_OFFSET(tag_TRMailRequest, index, 16);

enum {
  TR_MAIL_BOOLEAN = 1,
  TR_MAIL_INT32 = 3,
  TR_MAIL_UINT32 = 4,
  TR_MAIL_INT64 = 5, /* pointer, as all that follow */
  TR_MAIL_UINT64 = 6,
  TR_MAIL_TEXT = 7,
  TR_MAIL_UTF16_TEXT = 8,
  TR_MAIL_FILETIME = 9,
  TR_MAIL_FLOAT = 10,
  TR_MAIL_DOUBLE = 11
};

typedef struct tag_TRMailField {
  uint32_t present; /* 0: empty, to be skipped */
  uint32_t padding_4;
  uint32_t type;
  uint32_t padding_12;
  const char* name;
  tag_TRValueWord value;
} tag_TRMailField;
TR_ASSERT_SIZE(tag_TRMailField, 32);
TR_ASSERT_OFFSET(tag_TRMailField, present, 0);
TR_ASSERT_OFFSET(tag_TRMailField, type, 8);
TR_ASSERT_OFFSET(tag_TRMailField, name, 16);
TR_ASSERT_OFFSET(tag_TRMailField, value, 24);

typedef struct tag_TRMailInfo {
  uint64_t reserved_0[2];
  int32_t count;
  uint32_t padding_20;
  const tag_TRMailField* const* fields;
} tag_TRMailInfo;
TR_ASSERT_SIZE(tag_TRMailInfo, 32);
TR_ASSERT_OFFSET(tag_TRMailInfo, count, 16);
TR_ASSERT_OFFSET(tag_TRMailInfo, fields, 24);

/* ---- The extraction interface --------------------------------------------------------------- */

/* The record's words are numbered as slots: word 0 is the header, preset by the host. */
typedef struct tag_TRExtractInterface {
  uint64_t header; /* 0x482F30 */
  tr_slot reserved_1;
  int (*open_file)(void* context, tag_TROpenRequest*, void** container);
  int (*close_file)(void* container);
  int (*get_main_file_info)(void* container, tag_TRMainInfo**);
  int (*query_subfile_info)(void* container, uint32_t index, tag_TRSubfileInfo**);
  int (*get_subfile_mail_info)(void* container, tag_TRMailRequest*, tag_TRMailInfo**);
  int (*extract_subfile)(void* container, tag_TRExtractRequest*, tag_TRExtractResult**);
  int (*free_info)(void* container, void* info);
} tag_TRExtractInterface;
TR_ASSERT_SIZE(tag_TRExtractInterface, 72);
TR_ASSERT_OFFSET(tag_TRExtractInterface, header, 0);
TR_ASSERT_OFFSET(tag_TRExtractInterface, reserved_1, 8);
TR_ASSERT_OFFSET(tag_TRExtractInterface, open_file, 16);
TR_ASSERT_OFFSET(tag_TRExtractInterface, close_file, 24);
TR_ASSERT_OFFSET(tag_TRExtractInterface, get_main_file_info, 32);
TR_ASSERT_OFFSET(tag_TRExtractInterface, query_subfile_info, 40);
TR_ASSERT_OFFSET(tag_TRExtractInterface, get_subfile_mail_info, 48);
TR_ASSERT_OFFSET(tag_TRExtractInterface, extract_subfile, 56);
TR_ASSERT_OFFSET(tag_TRExtractInterface, free_info, 64);

typedef int (*tr_get_extract_interface)(void* context, tag_TRExtractInterface*);

#ifdef __cplusplus
}
#endif

#endif
