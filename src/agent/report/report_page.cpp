#include "agent/report/report_page.h"

#include "agent/report/capacity_section.h"
#include "agent/report/change_section.h"
#include "agent/report/change_words.h"
#include "agent/report/class_section.h"
#include "agent/report/glance.h"
#include "agent/report/html_writer.h"
#include "agent/report_page_files.h"

namespace agent {
namespace {

class Page {
 public:
  explicit Page(const Report& shownReport)
      : report(shownReport),
        classes(report.marked == nullptr ? report.inventory : *report.marked),
        changeCount(report.marked == nullptr ? 0 : CountChanges(*report.marked)),
        hasCapacities(HasCapacities(report.inventory)) {}

  std::string Write() {
    const EscapedText name(MachineName(report.inventory));
    WriteHead(name);
    html << "<body>\n";
    WriteTop(name);
    html << "<div class=\"page\">\n";
    WriteContents();
    html << "<main>\n";
    WriteGlance();
    WriteCapacitySection();
    WriteChanges();
    WriteClasses();
    html << "</main>\n</div>\n<script>" << Markup(kPageScript) << "</script>\n</body>\n</html>\n";
    return html.Take();
  }

 private:
  void WriteHead(const EscapedText& name) {
    html << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
            "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src '"
         << Markup(kPageStyleHash) << "'; script-src '" << Markup(kPageScriptHash)
         << "'; base-uri 'none'; form-action 'none'\">\n"
            "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
            "<meta name=\"color-scheme\" content=\"light dark\">\n"
            "<meta name=\"referrer\" content=\"no-referrer\">\n<title>"
         << name << " - hardware inventory</title>\n<style>" << Markup(kPageStyle)
         << "</style>\n</head>\n";
  }

  // The tools are for readers with scripts, which show them.
  void WriteTop(const EscapedText& name) {
    html << "<header class=\"top\">\n<div><h1>" << name << "</h1>\n<p>Hardware inventory";
    if (!report.made.empty()) html << " of " << EscapedText(report.made);
    html << "</p></div>\n<div class=\"tools\" hidden>\n"
            "<label for=\"search\">Search</label>\n"
            "<input id=\"search\" type=\"search\" autocomplete=\"off\" spellcheck=\"false\" "
            "placeholder=\"Search all tables\">\n"
            "<output id=\"found\" for=\"search\"></output>\n"
            "<button id=\"colours\" type=\"button\"></button>\n</div>\n</header>\n";
  }

  void WriteContents() {
    html << "<nav aria-label=\"Contents\">\n<ul>\n<li><a href=\"#glance\">At a glance</a></li>\n";
    if (hasCapacities) html << "<li><a href=\"#capacity\">Storage and memory</a></li>\n";
    html << "<li><a href=\"#changes\">Changes</a>";
    if (changeCount > 0) html << " <span class=\"count\">" << changeCount << "</span>";
    html << "</li>\n</ul>\n<ul>\n";
    size_t number = 0;
    for (const ObjType* type : classes.Objects()) {
      ++number;
      if (type->Instances().Count() > 0) WriteContentsOf(*type, number);
    }
    html << "</ul>\n</nav>\n";
  }

  void WriteContentsOf(const ObjType& type, size_t number) {
    html << "<li><a href=\"#class-" << number << "\">" << EscapedText(type.GetName()) << "</a>";
    if (type.HasMarks()) {
      html << " <span class=\"dot\" title=\"changed\"><span>changed</span></span>";
    }
    html << " <span class=\"count\">" << type.Instances().Count() << "</span></li>\n";
  }

  void WriteGlance() {
    html << "<section id=\"glance\">\n<h2>At a glance</h2>\n";
    const std::vector<GlanceItem> items = Glance(report.inventory);
    if (items.empty()) {
      html << "<p>The inventory has none of the values that would tell what the machine is.</p>\n";
    } else {
      html << "<dl class=\"glance\">\n";
      for (const GlanceItem& item : items) Write(item);
      html << "</dl>\n";
    }
    html << "</section>\n";
  }

  void Write(const GlanceItem& item) {
    html << "<div><dt>" << EscapedText(std::string_view(item.label)) << "</dt>\n<dd><strong>"
         << EscapedText(item.value) << "</strong></dd>\n";
    for (const std::string& detail : item.details) {
      html << "<dd>" << EscapedText(detail) << "</dd>\n";
    }
    html << "</div>\n";
  }

  void WriteCapacitySection() {
    if (!hasCapacities) return;
    html << "<section id=\"capacity\">\n<h2>Storage and memory</h2>\n";
    WriteCapacities(report.inventory, html);
    html << "</section>\n";
  }

  void WriteChanges() {
    html << "<section id=\"changes\">\n<h2 id=\"changes-name\">Changes</h2>\n<p>"
         << EscapedText(report.changes) << "</p>\n";
    if (changeCount > 0) WriteChangeTable(*report.marked, html);
    html << "</section>\n";
  }

  void WriteClasses() {
    html << "<section id=\"classes\">\n<h2>Inventory</h2>\n"
            "<p id=\"nothing-found\" hidden>No row has all of these words.</p>\n";
    size_t number = 0;
    size_t emptyCount = 0;
    for (const ObjType* type : classes.Objects()) {
      ++number;
      if (type->Instances().Count() == 0) {
        ++emptyCount;
      } else {
        WriteClass(*type, number, html);
      }
    }
    if (emptyCount > 0) WriteEmptyClasses();
    if (number == 0) html << "<p>The inventory is empty.</p>\n";
    html << "</section>\n";
  }

  void WriteEmptyClasses() {
    html << "<section class=\"empty\">\n<h3>Nothing found</h3>\n<ul>\n";
    for (const ObjType* type : classes.Objects()) {
      if (type->Instances().Count() > 0) continue;
      html << "<li>" << EscapedText(type->GetName());
      WriteChangeTag(*type, html);
      html << "</li>\n";
    }
    html << "</ul>\n</section>\n";
  }

  const Report& report;
  const ObjInv& classes;
  const size_t changeCount;
  const bool hasCapacities;
  HtmlWriter html;
};

}  // namespace

std::string ReportPage(const Report& report) {
  return Page(report).Write();
}

}  // namespace agent
