#include "inspect/manual.h"

#include <core/version.h>

#include <sstream>

namespace inspect {

namespace {

// Text for troff: what it would take for markup, as letters.
std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '\\') {
            escaped += "\\e";
        } else if (c == '-') {
            escaped += "\\-";
        } else {
            if ((c == '.' || c == '\'') && (escaped.empty() || escaped.back() == '\n')) {
                escaped += "\\&";
            }
            escaped += c;
        }
    }
    return escaped;
}

std::string TypeOf(const CLI::Option& option) {
    return option.get_items_expected_max() == 0 ? "" : " " + option.get_type_name();
}

void WriteVerb(std::ostream& out, const CLI::App& verb, const std::string& program) {
    out << ".SS " << Escaped(verb.get_name()) << '\n' << Escaped(verb.get_description()) << ".\n";
    out << ".PP\n.B " << Escaped(program + " " + verb.get_name()) << "\n[options]";
    for (const CLI::Option* const option : verb.get_options()) {
        if (option->get_positional()) {
            out << ' ' << Escaped(option->get_name())
                << (option->get_items_expected_max() > 1 ? "..." : "");
        }
    }
    out << '\n';
    for (const CLI::Option* const option : verb.get_options()) {
        const bool isPlace = option->get_positional();
        out << ".TP\n.B " << Escaped(option->get_name(isPlace, !isPlace))
            << (isPlace ? "" : Escaped(TypeOf(*option))) << '\n'
            << Escaped(option->get_description()) << '\n';
    }
    std::istringstream footer(verb.get_footer());
    out << ".PP\n.nf\n";
    for (std::string line; std::getline(footer, line);) {
        if (!line.empty()) {
            out << Escaped(line) << '\n';
        }
    }
    out << ".fi\n";
}

}  // namespace

std::string ManualPage(const CLI::App& app) {
    std::ostringstream out;
    const std::string name = app.get_name();
    out << ".TH " << Escaped(name) << " 1 \"\" \"core " << CORE_VERSION_STRING
        << "\" \"User Commands\"\n"
        << ".SH NAME\n"
        << Escaped(name) << " \\- look into documents of the core library\n"
        << ".SH SYNOPSIS\n.B " << Escaped(name) << "\n.I verb\n[options] files\n"
        << ".SH DESCRIPTION\n"
        << Escaped(app.get_description()) << '\n'
        << ".SH VERBS\n";
    for (const CLI::App* const verb : app.get_subcommands({})) {
        WriteVerb(out, *verb, name);
    }
    out << ".SH NOTES\n" << Escaped(app.get_footer().substr(1)) << '\n';
    return out.str();
}

std::string BashCompletion(const CLI::App& app) {
    std::ostringstream out;
    const std::string name = app.get_name();
    std::string verbs;
    out << "# Completes " << name << " in bash.\n_core_inspect() {\n"
        << "    local word=${COMP_WORDS[COMP_CWORD]} words=\n"
        << "    case ${COMP_WORDS[1]} in\n";
    for (const CLI::App* const verb : app.get_subcommands({})) {
        verbs += (verbs.empty() ? "" : " ") + verb->get_name();
        out << "        " << verb->get_name() << ") words='";
        for (const CLI::Option* const option : verb->get_options()) {
            for (const std::string& flag : option->get_lnames()) {
                out << "--" << flag << ' ';
            }
        }
        out << "' ;;\n";
    }
    out << "    esac\n"
        << "    if [[ $COMP_CWORD -eq 1 ]]; then\n"
        << "        COMPREPLY=($(compgen -W '" << verbs << " --help --version' -- \"$word\"))\n"
        << "    elif [[ $word == -* ]]; then\n"
        << "        COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n"
        << "    else\n"
        << "        COMPREPLY=($(compgen -f -- \"$word\"))\n"
        << "    fi\n}\n"
        << "complete -o filenames -F _core_inspect " << name << '\n';
    return out.str();
}

}  // namespace inspect
