#!/usr/bin/env python3
"""Writes the completions of the shells into completions/, from docs/options.txt: scripts/make_completions.py [folder]"""
import collections
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
ORIGIN = "# Completion of grelmoor. Made by scripts/make_completions.py from docs/options.txt.\n"

# `value`: "-", FILE, DIR, words between "|", or what stands for free text.
option = collections.namedtuple("option", "name value meaning")


def read_options():
    lines = (ROOT / "docs/options.txt").read_text().splitlines()
    return [option(*line.split(maxsplit=2)) for line in lines if line and not line.startswith("#")]


def kind_of(value):
    if value in ("-", "FILE", "DIR"):
        return value
    return "words" if value.islower() else "text"


def completable(options):
    return [entry for entry in options if entry.name.startswith("-")]


def quoted(text, escape):
    return "'" + text.replace("'", escape) + "'"


def of_bash(options):
    names = collections.defaultdict(list)
    for entry in options:
        names[kind_of(entry.value)].append(entry.name)
    words = "".join(f"        {entry.name}) choices={quoted(entry.value.replace('|', ' '), '')} ;;\n"
                    for entry in options if kind_of(entry.value) == "words")
    return f"""{ORIGIN}
_grelmoor() {{
    local word=${{COMP_WORDS[COMP_CWORD]}} choices='{" ".join(entry.name for entry in options)}'
    COMPREPLY=()
    case ${{COMP_WORDS[COMP_CWORD - 1]}} in
        {"|".join(names["FILE"])}) return ;;
        {"|".join(names["DIR"])}) compopt +o default -o dirnames; return ;;
{words}        {"|".join(names["text"])}) choices= ;;
    esac
    compopt +o default
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word")
}}
complete -o default -F _grelmoor grelmoor
"""


def of_zsh(options):
    def value(entry):
        kind = kind_of(entry.value)
        if kind == "-":
            return ""
        action = {"FILE": "_files", "DIR": "_files -/", "text": " "}.get(kind, f"({entry.value.replace('|', ' ')})")
        return f":{'word' if kind == 'words' else entry.value.lower()}:{action}"

    def line(entry):
        meaning = "".join("\\" + letter if letter in "[]:\\" else letter for letter in entry.meaning)
        return "    " + quoted(f"{entry.name}[{meaning}]{value(entry)}", "'\\''")

    return f"#compdef grelmoor\n{ORIGIN}\n_arguments \\\n" + " \\\n".join(map(line, options)) + "\n"


def of_fish(options):
    def line(entry):
        value = {"-": "", "FILE": " -r -F", "DIR": " -x -a '(__fish_complete_directories)'", "text": " -x"}.get(
            kind_of(entry.value), f" -x -a '{entry.value.replace('|', ' ')}'")
        form = "-l" if entry.name.startswith("--") else "-s" if len(entry.name) == 2 else "-o"
        return f"complete -c grelmoor {form} {entry.name.lstrip('-')}{value} -d {quoted(entry.meaning, chr(92) + chr(39))}\n"

    return ORIGIN + "\ncomplete -c grelmoor -f\n" + "".join(map(line, options))


def of_powershell(options):
    rows = "".join(f"    {quoted(entry.name, chr(39) * 2)} = {quoted(entry.value, '')}, {quoted(entry.meaning, chr(39) * 2)}\n"
                   for entry in options)
    return ORIGIN + """
$grelmoorOptions = [ordered]@{
""" + rows + """}

Register-ArgumentCompleter -Native -CommandName grelmoor, grelmoor.exe -ScriptBlock {
    param($word, $line, $cursor)
    $typed = @($line.CommandElements | Where-Object { $_.Extent.EndOffset -lt $cursor } | ForEach-Object { "$_" })
    $value = if ($typed.Count -gt 1 -and $grelmoorOptions.Contains($typed[-1])) { $grelmoorOptions[$typed[-1]][0] } else { '-' }
    if ($value -eq '-') {
        foreach ($name in $grelmoorOptions.Keys) {
            if ($name -notlike "$word*") { continue }
            [System.Management.Automation.CompletionResult]::new($name, $name, 'ParameterName', $grelmoorOptions[$name][1])
        }
    } elseif ($value -ceq $value.ToLower()) {
        $value.Split('|') | Where-Object { $_ -like "$word*" }
    }
    # Nothing for FILE and DIR: the shell then offers files by itself.
}
"""


FILES = {"grelmoor.bash": of_bash, "_grelmoor": of_zsh, "grelmoor.fish": of_fish, "grelmoor.ps1": of_powershell}


def completions():
    """The text of each file by its name."""
    options = completable(read_options())
    return {name: text_of(options) for name, text_of in FILES.items()}


if __name__ == "__main__":
    folder = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ROOT / "completions")
    folder.mkdir(parents=True, exist_ok=True)
    for file_name, file_text in completions().items():
        (folder / file_name).write_text(file_text)
