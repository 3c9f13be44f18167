// The resource error log. Rows accumulate in `<prefix>ResourceErrors.tmp`; after each row the
// HTML page is written anew as head, rows and tail, so a crash at any moment leaves a whole
// page behind. Names and texts are escaped on their way into the page, so a "<unknown>" load
// or a message about "a < b" shows as written and the page stays well-formed.
#include "General/Resources/ResourceErrorLog.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "General/Core/Detail/NoThrow.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"

using TString = TStringInt<TDynamicStringAllocationStrategy>;

namespace {

/// One error of a load.
struct TResourceErrorRecord : TBaseAllocator {
    TString category;
    TString text;
};

/// One load in progress.
struct TResourceLoadContext : TBaseAllocator {
    TString name;
    TString detail;
    TLibVector<TResourceErrorRecord *> errors; // owned
    TLibVector<char> text; // every error text of the load, as one zero-terminated text

    ~TResourceLoadContext() {
        for (TResourceErrorRecord *record : errors)
            delete record;
    }
};

constexpr const char *kLogWord = "ResourceErrors";
constexpr const char *kUnknownName = "<unknown>";
constexpr int kRingSize = 8;
constexpr size_t kFirstFormatSize = 512;

constexpr const char *kPageHead = "<html>\r\n"
                                  "<head>\r\n"
                                  "<title>%s Resource Error Log</title>\r\n"
                                  "<style TYPE=\"text/css\"><!--\r\n"
                                  "body {font-family: Arial, Helvetica, Sans-serif; "
                                  "background-color=silver;}\r\n"
                                  "td {vertical-align:top; text-align:left; }\r\n"
                                  ".st {text-indent:100px; font-size:65%%;}\r\n"
                                  ".err {background-color:#FFCCCC; }\r\n"
                                  "--></style>\r\n"
                                  "</head>\r\n"
                                  "<body>\r\n"
                                  "<h1>%s Resource Error Log</h1>\r\n"
                                  "<table cellpadding=5>\r\n";
constexpr const char *kPageTail = "</table></body></html>\r\n";

char gPrefix[256] = {};
TResourceErrorReporter *gReporter = nullptr;          // not owned
TLibVector<TResourceLoadContext *> *gStack = nullptr; // owned, and the contexts in it

/// The rotating buffers of ResourceErrorFormat, from the library heap, freed at exit.
struct TFormatRing {
    char *buffers[kRingSize] = {}; // owned
    size_t sizes[kRingSize] = {};
    int next = 0;

    ~TFormatRing() {
        for (char *buffer : buffers)
            GetAllocatorInstance().Unalloc(reinterpret_cast<unsigned char *>(buffer));
    }
};
TFormatRing gRing;

bool IsLogOn() {
    return gPrefix[0] != '\0';
}

const char *TmpPath() {
    return ResourceErrorFormat("%s%s.tmp", gPrefix, kLogWord);
}
const char *HtmlPath() {
    return ResourceErrorFormat("%s%s.html", gPrefix, kLogWord);
}

/// `text` with the characters that HTML gives a meaning replaced by entities.
TString EscapeHtml(const char *text) {
    TString escaped;
    if (text == nullptr)
        return escaped;
    const char *run = text;
    for (const char *p = text;; ++p) {
        const char *entity = nullptr;
        switch (*p) {
        case '<':
            entity = "&lt;";
            break;
        case '>':
            entity = "&gt;";
            break;
        case '&':
            entity = "&amp;";
            break;
        case '"':
            entity = "&quot;";
            break;
        default:
            break;
        }
        if (entity == nullptr && *p != '\0')
            continue;
        escaped.Append(TString(run, static_cast<unsigned>(p - run)));
        if (*p == '\0')
            return escaped;
        escaped.Append(entity);
        run = p + 1;
    }
}

/// The stack from the innermost load out, one line per load. With `html` the names are
/// escaped for the page.
TString MakeTrail(const char *lineEnd, bool html) {
    TString trail;
    if (gStack == nullptr)
        return trail;
    for (auto it = gStack->rbegin(); it != gStack->rend(); ++it) {
        const TResourceLoadContext &context = **it;
        trail.Append("- while loading ");
        trail.Append(html ? EscapeHtml(context.name) : context.name);
        if (!context.detail.IsEmpty()) {
            trail.Append(" (");
            trail.Append(html ? EscapeHtml(context.detail) : context.detail);
            trail.Append(")");
        }
        trail.Append(lineEnd);
    }
    return trail;
}

/// Appends one row to the tmp file, then writes the whole page again. `trail` is HTML
/// already; category and text are escaped here. A file that cannot be opened loses the row
/// or the rewrite, and nothing more.
void AddRow(const char *category, const char *text, const TString &trail) {
    FILE *rows = std::fopen(TmpPath(), "ab");
    if (rows == nullptr)
        return;
    std::fprintf(rows, "<tr>\r\n<td><b>%s</b></td>\r\n<td>\r\n<font class=err>%s</font><br>\r\n",
                 EscapeHtml(category).GetData(), EscapeHtml(text).GetData());
    if (!trail.IsEmpty())
        std::fprintf(rows, "<font class=st>%s</font>\r\n", trail.GetData());
    std::fputs("</td>\r\n</tr>\r\n", rows);
    std::fclose(rows);

    FILE *page = std::fopen(HtmlPath(), "wb");
    if (page == nullptr)
        return;
    const TString title = EscapeHtml(gPrefix);
    std::fprintf(page, kPageHead, title.GetData(), title.GetData());
    if (FILE *in = std::fopen(TmpPath(), "rb")) {
        char block[1024];
        size_t count;
        while ((count = std::fread(block, 1, sizeof block, in)) > 0)
            std::fwrite(block, 1, count, page);
        std::fclose(in);
    }
    std::fputs(kPageTail, page);
    std::fclose(page);
}

void PushContext(const char *name, const char *detail) {
    auto *context = new TResourceLoadContext;
    if (context == nullptr)
        return;
    context->name = (name == nullptr || name[0] == '\0') ? kUnknownName : name;
    context->detail = detail;
    if (!vlib::detail::CallNoThrow([&] { gStack->push_back(context); }))
        delete context;
}

void FreeStack() {
    if (gStack == nullptr)
        return;
    for (TResourceLoadContext *context : *gStack)
        delete context;
    delete gStack;
    gStack = nullptr;
}

/// Appends "* text" and a line end (unless the text is empty or ends in one) to the load's
/// text, which stays zero-terminated.
void AppendToText(TLibVector<char> &all, const char *text) {
    if (!all.empty())
        all.pop_back();
    all.push_back('*');
    all.push_back(' ');
    const size_t length = std::strlen(text);
    all.insert(all.end(), text, text + length);
    if (length != 0 && text[length - 1] != '\n') {
        all.push_back('\r');
        all.push_back('\n');
    }
    all.push_back('\0');
}

} // namespace

void TResourceErrorReporter::Report(TResourceErrorReportInfo *info) {
    (void)info;
}

TResourceErrorReporter::~TResourceErrorReporter() = default;

void InitResourceReport(TResourceErrorReporter *reporter, const char *prefix) {
    FreeStack();
    gReporter = nullptr;
    gPrefix[0] = '\0';
    if (prefix == nullptr || prefix[0] == '\0')
        return;
    std::strncpy(gPrefix, prefix, sizeof gPrefix - 1);
    gPrefix[sizeof gPrefix - 1] = '\0';

    if (FILE *rows = std::fopen(TmpPath(), "w"))
        std::fclose(rows);

    char when[64] = {};
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (localtime_r(&now, &local) != nullptr)
        std::strftime(when, sizeof when, "%I:%M %p on %a, %d-%m-%y", &local);
    (void)vlib::detail::CallNoThrow([&] {
        AddRow("note", ResourceErrorFormat("Starting %s resource log at %s", gPrefix, when),
               TString());
    });

    gReporter = reporter;
    gStack = new TLibVector<TResourceLoadContext *>;
    if (gStack == nullptr) // no heap: the log cannot follow loads and stays off
        gPrefix[0] = '\0';
}

void ShutdownResourceReport() {
    if (!IsLogOn())
        return;
    FreeStack();
    std::remove(TmpPath());
    gReporter = nullptr;
    gPrefix[0] = '\0';
}

void ReportResourceStartLoad(const char *name, const char *detail) {
    if (IsLogOn())
        PushContext(name, detail);
}

void ReportResourceEndLoad() {
    if (!IsLogOn() || gStack->empty())
        return;
    TResourceLoadContext *context = gStack->back();
    if (gReporter != nullptr && !context->errors.empty()) {
        (void)vlib::detail::CallNoThrow([&] {
            if (context->text.empty())
                context->text.push_back('\0');
            TString summary;
            summary.Append(static_cast<int>(context->errors.size()));
            summary.Append(" Errors occurred\r\n");
            summary.Append(MakeTrail("\r\n", false));
            TResourceErrorReportInfo info{summary.GetData(), context->text.data(),
                                          context->name.GetData(), HtmlPath()};
            gReporter->Report(&info);
        });
    }
    delete context;
    gStack->pop_back();
}

void ReportResourceError(const char *category, const char *text) {
    if (!IsLogOn())
        return;
    if (category == nullptr)
        category = "";
    if (text == nullptr)
        text = "";
    (void)vlib::detail::CallNoThrow([&] { AddRow(category, text, MakeTrail("<br>\r\n", true)); });

    bool pushed = false;
    if (gStack->empty()) {
        PushContext(kUnknownName, nullptr);
        if (gStack->empty())
            return;
        pushed = true;
    }
    TResourceLoadContext *context =
        std::strcmp(category, "mcchild") == 0 ? gStack->front() : gStack->back();
    (void)vlib::detail::CallNoThrow([&] {
        auto *record = new TResourceErrorRecord;
        if (record == nullptr)
            return;
        record->category = category;
        record->text = text;
        if (!vlib::detail::CallNoThrow([&] { context->errors.push_back(record); })) {
            delete record;
            return;
        }
        AppendToText(context->text, text);
    });
    if (pushed)
        ReportResourceEndLoad();
}

void ReportMissingResource(unsigned long id) {
    ReportResourceError(
        "missing", ResourceErrorFormat("Resource %X (%d) not found.", static_cast<uint32_t>(id),
                                       static_cast<int32_t>(static_cast<uint32_t>(id))));
}

void ReportMissingResource(const char *name) {
    ReportResourceError("missing", ResourceErrorFormat("Resource \"%s\" not found.",
                                                       name != nullptr ? name : "(null)"));
}

void ReportDuplicateResource(const char *first, const char *second) {
    ReportResourceError(
        "duplicate",
        ResourceErrorFormat("Duplicate resources found.\r\n\tFirst: %s\r\n\tSecond: %s",
                            first != nullptr ? first : "(null)",
                            second != nullptr ? second : "(null)"));
}

const char *ResourceErrorFormat(const char *format, ...) {
    const int slot = gRing.next;
    gRing.next = (gRing.next + 1) % kRingSize;
    char *&buffer = gRing.buffers[slot];
    size_t &size = gRing.sizes[slot];
    if (buffer == nullptr) {
        buffer = reinterpret_cast<char *>(GetAllocatorInstance().Alloc(kFirstFormatSize));
        if (buffer == nullptr)
            return "";
        size = kFirstFormatSize;
    }
    for (;;) {
        va_list args;
        va_start(args, format);
        const int written = std::vsnprintf(buffer, size, format, args);
        va_end(args);
        if (written < 0) { // a format the C library cannot render: keep what it wrote
            buffer[size - 1] = '\0';
            return buffer;
        }
        if (static_cast<size_t>(written) < size)
            return buffer;
        char *larger = reinterpret_cast<char *>(GetAllocatorInstance().Alloc(size * 2));
        if (larger == nullptr)
            return buffer; // what fitted, cut
        GetAllocatorInstance().Unalloc(reinterpret_cast<unsigned char *>(buffer));
        buffer = larger;
        size *= 2;
    }
}
