// SPDX-License-Identifier: Apache-2.0

// From a configuration to its template: what stands in a site becomes a template and its values,
// so that an edit with them changes nothing, and another value changes every line that held it.
//
//   tov_adopt::Options options;
//   options.dialect = tov_edit::Dialect::kNginx;
//   const tov_adopt::Adopted adopted = tov_adopt::Adopt(options, text, "site.conf");
//   if (adopted.refusals.empty()) use(adopted.template_text, adopted.values);
//
// site.h finds the site's blocks, lines.h reads their lines, naming.h finds the values and puts
// places where these stand, writing.h writes the template, and proof.h makes edits with it before
// anybody else does: what does not hold is taken out, and said.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "edit/finding.h"
#include "edit/request.h"
#include "template/export.h"

namespace tov_adopt {

using tov_edit::Dialect;
using tov_edit::Finding;

struct Options {
  Dialect dialect = Dialect::kNginx;

  // Which site: a name, an address ("443", "127.0.0.1:80") or a line ("site.conf:12", ":12"). "":
  // the only one. A text without sites is adopted as a whole.
  std::string site;

  // Texts that become values, by the values' names. They go before those that have names of their
  // own.
  std::map<std::string, std::string> values;

  // The directives, and blocks, that the template is for; empty: all. Lines by which a site is
  // found are always there.
  std::set<std::string> managed;

  bool comment = false;  // say in the template what its lines are
};

struct Adopted {
  std::string template_text;
  tov_edit::Values values;  // with the old texts and the same new ones

  // What the template does not have although it was to have it, with the place in the
  // configuration and the reason. The name of each is "left-out".
  std::vector<Finding> left_out;

  // Why there is no template: "syntax" for a text that its server would not take, "site" where it
  // cannot be told which site is meant, "value" for a text of Options::values that stands nowhere.
  std::vector<Finding> refusals;
};

// The template of a site in `text`, which `name` stands for in messages. What holds of the result,
// and has been tried:
//
//   - An edit of `text` with the template and the values changes no byte.
//   - With another text for one of the values, each line that the value stands in has that text,
//     and nothing else is another one; the way back gives the bytes.
//
// A value stands where its text is a whole word, a part of a path, or the beginning of a file's
// name ("a.example" in "/var/log/a.example.log"); of several that fit, the longest one.
//
// Throws std::length_error for a text of 4 GiB or more. Cost: a few edits of the text, and two more
// for each line that is left out.
QELTEMPLATE_EXPORT Adopted Adopt(const Options& options, std::string_view text,
                                 const std::string& name);

// A configuration, and what stands for it in messages.
struct Configuration {
  std::string_view text;
  std::string name;
};

// The template that leads from one configuration to another one, and its values, with the old texts
// and the new ones. Lines that stand in one of them only are in branches, which the value "version"
// switches: its texts are "old" and "new". Of the options, `site` is looked for in both, and
// nothing else is compared; without it all is. `values` and `managed` do not count. What has been
// tried:
//
//   - An edit of `before` gives the bytes of `after`.
//   - With old and new texts swapped, an edit of `after` gives the bytes of `before`.
//
// Where only comments, blanks or the order of directives that have nothing to do with each other
// would be others, left_out says so, with the first line that is another one, once for each of the
// two edits. Where the second edit would come to anything else, left_out says that there is no way
// back. Where the first one would, there is no template, and the refusals, of the name "difference"
// or those of an edit, say which line of which file it is.
QELTEMPLATE_EXPORT Adopted AdoptChange(const Options& options, const Configuration& before,
                                       const Configuration& after);

// One of many sites, beside the template that most of them share.
struct CommonSite {
  tov_edit::Values values;  // for that template
  bool shares = false;      // an edit with them changes nothing: it has all of the template

  std::vector<Finding> beyond;   // its lines that the template does not have
  std::vector<Finding> lacking;  // the template's lines that it does not have, or why it is refused
};

struct Common {
  std::string template_text;
  std::vector<CommonSite> sites;  // in the order of the configurations
  std::vector<Finding> refusals;  // why there is no template
};

// The template that most of the sites share, one in each configuration (see Adopt). It has the
// lines that more than half of the sites have, as long as there are more than half of them that
// have all. Of a directive that stands once in a block, what differs from site to site becomes a
// value with the directive's name. `values` and `managed` of the options count, `site` does not.
//
// Cost: linear in the number of sites; one edit for each.
QELTEMPLATE_EXPORT Common AdoptCommon(const Options& options,
                                      const std::vector<Configuration>& sites);

}  // namespace tov_adopt
