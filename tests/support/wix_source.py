#!/usr/bin/env python3
"""Checks WiX sources as their compiler and linker would, as far as ours go:

    wix_source.py [-I FOLDER] [-D NAME=VALUE] [-n NUMBERS.wxi] SOURCE.wxs ...

Elements, attributes and values are those of the dialect, named by the root's
namespace; what the package refers to is there, and once. With -n what stands before or
after another action does so by the numbers of that schedule, too. Prints a line for each
fault and exits 1 when there is one; says what it has read."""
import getopt, os, re, sys
import xml.etree.ElementTree as ET

WIX3 = 'http://schemas.microsoft.com/wix/2006/wi'
WIX4 = 'http://wixtoolset.org/schemas/v4/wxs'
TOP = ('Binary CustomAction CustomActionRef CustomTable Directory DirectoryRef Feature InstallExecuteSequence '
       'InstallUISequence Property PropertyRef SetProperty Upgrade MajorUpgrade Media')
ACTIONS = 'FindRelatedProducts InstallExecute InstallExecuteAgain LaunchConditions RemoveExistingProducts'
IN_BOTH = 'StandardDirectory WixVariable'
# Element: attributes | children, those of both dialects first.
COMMON = f'''
Binary: Id SourceFile
Column: Id Type Width Category PrimaryKey Nullable Localizable MinValue MaxValue KeyTable KeyColumn
Component: Id Guid | File ODBCDataSource ServiceInstall ServiceControl RegistryValue
ComponentRef: Id
CustomActionRef: Id
Directory: Id Name | Directory Component
DirectoryRef: Id | Directory Component
Feature: Id Title Level | ComponentRef Feature
File: Id Source Name KeyPath
Fragment: Id | {TOP}
InstallExecuteSequence: | Custom {ACTIONS}
InstallUISequence: | Custom {ACTIONS}
MajorUpgrade: DowngradeErrorMessage Schedule
Media: Id Cabinet EmbedCab
ODBCDataSource: Id Name DriverName Registration KeyPath | Property
Property: Id Value Secure | RegistrySearch
PropertyRef: Id
RegistrySearch: Id Root Key Name Type
RegistryValue: Root Key Name Value Type KeyPath
Row: | Data
ServiceControl: Id Name Start Stop Remove Wait
ServiceInstall: Id Name DisplayName Type Start ErrorControl
Upgrade: Id | UpgradeVersion
UpgradeVersion: Minimum Maximum IncludeMinimum IncludeMaximum OnlyDetect Property
'''
OWN = {WIX3: f'''
Condition: Message
Custom: Action Before After Sequence
CustomAction: Id BinaryKey DllEntry Property Value Error Execute Impersonate Return
CustomTable: Id | Column Row
Data: Column
Package: InstallerVersion Compressed InstallScope
Product: Id Name Version Manufacturer Language UpgradeCode | {TOP} Package Condition
SetProperty: Id Action Value Before After Sequence
Wix: | Product Fragment
''', WIX4: f'''
Custom: Action Condition Before After Sequence Overridable
CustomAction: Id BinaryRef DllEntry Property Value Error Execute Impersonate Return
CustomTable: Id | Column Row
CustomTableRef: Id | Row
Data: Column Value
Fragment: Id | {TOP} CustomTableRef {IN_BOTH}
Launch: Condition Message
Package: Id Name Version Manufacturer UpgradeCode Scope | {TOP} CustomTableRef Launch MediaTemplate {IN_BOTH}
MediaTemplate: EmbedCab
SetProperty: Id Action Value Condition Before After Sequence
StandardDirectory: Id | Directory Component
WixVariable: Id Value Overridable
Wix: | Package Fragment
'''}
TEXT = {WIX3: {'Custom', 'SetProperty', 'Condition', 'Data', *ACTIONS.split()}, WIX4: set()}
NEEDED = {'Binary': 'Id SourceFile', 'Custom': 'Action', 'CustomAction': 'Id', 'Column': 'Id Type', 'Data': 'Column',
          'CustomTable': 'Id', 'Property': 'Id', 'WixVariable': 'Id Value', 'Directory': 'Id', 'Feature': 'Id'}
YES_NO = r'yes|no'
CATEGORY = 'text|integer|identifier'
VALUES = {'Execute': 'immediate|deferred|rollback|commit', 'Impersonate': YES_NO, 'Secure': YES_NO, 'KeyPath': YES_NO,
          'PrimaryKey': YES_NO, 'Nullable': YES_NO, 'Localizable': YES_NO, 'Overridable': YES_NO, 'Wait': YES_NO,
          'Sequence': r'[1-9]\d*|execute|ui|both|first', 'Width': r'\d+', 'KeyColumn': '1', 'Level': r'\d+',
          'Stop': 'install|uninstall|both', 'Remove': 'install|uninstall|both', 'EmbedCab': YES_NO,
          'Scope': 'perMachine|perUser|perUserOrMachine'}
STANDARD = {'LaunchConditions': 100, 'ValidateProductID': 700, 'CostInitialize': 800, 'FileCost': 900,
            'CostFinalize': 1000, 'InstallValidate': 1400, 'InstallInitialize': 1500, 'ProcessComponents': 1600,
            'UnpublishFeatures': 1800, 'StopServices': 1900, 'DeleteServices': 2000, 'RemoveRegistryValues': 2600,
            'RemoveFiles': 3500, 'RemoveFolders': 3600, 'InstallFiles': 4000, 'WriteRegistryValues': 5000,
            'InstallODBC': 5400, 'InstallServices': 5800, 'StartServices': 5900, 'RegisterUser': 6000,
            'PublishProduct': 6400, 'InstallFinalize': 6600}
STANDARD_FOLDERS = {'TARGETDIR', 'ProgramFilesFolder', 'CommonFilesFolder', 'TempFolder', 'ProgramFiles6432Folder'}
REFERENCES = {('CustomAction', 'BinaryKey'): 'Binary', ('CustomAction', 'BinaryRef'): 'Binary',
              ('Custom', 'Action'): 'CustomAction', ('Custom', 'Before'): 'CustomAction',
              ('Custom', 'After'): 'CustomAction', ('SetProperty', 'Before'): 'CustomAction',
              ('SetProperty', 'After'): 'CustomAction', ('CustomActionRef', 'Id'): 'CustomAction',
              ('ComponentRef', 'Id'): 'Component', ('DirectoryRef', 'Id'): 'Directory',
              ('PropertyRef', 'Id'): 'Property', ('CustomTableRef', 'Id'): 'CustomTable'}

faults = []


def fault(text):
    if text not in faults:
        faults.append(text)


def preprocess(path, folders, defines):
    """The text of a source with its conditions decided, its includes and variables put in."""
    text = re.sub(r'<!--.*?-->', '', open(path, encoding='utf-8').read(), flags=re.S)
    out, active = [], [True]
    for piece in re.split(r'(<\?.*?\?>)', text, flags=re.S):
        word, _, rest = piece[2:-2].strip().partition(' ') if piece.startswith('<?') else ('', '', '')
        name = rest.strip().removeprefix('var.')
        if word in ('ifdef', 'ifndef'):
            active.append((name in defines) == (word == 'ifdef'))
        elif word == 'else':
            active[-1] = not active[-1]
        elif word == 'endif':
            active.pop()
        elif not all(active):
            continue
        elif word == 'define':
            name, _, value = name.partition('=')
            defines[name.strip()] = value.strip().strip('"')
        elif word == 'include':
            found = [f for f in (os.path.join(d, name) for d in folders) if os.path.exists(f)]
            if not found:
                fault(f'{path}: no {name} to include')
                continue
            inner = ET.fromstring(preprocess(found[0], folders, defines))
            if inner.tag not in (f'{{{WIX3}}}Include', f'{{{WIX4}}}Include'):
                fault(f'{found[0]}: the root is {inner.tag}, not Include of a dialect')
            out += [ET.tostring(child, encoding='unicode') for child in inner]
        elif word != 'xml':
            out.append(re.sub(r'\$\(var\.(\w+)\)', lambda m: defines.get(m[1], m[0]), piece))
    if active != [True]:
        fault(f'{path}: an if without its endif')
    return ''.join(out)


def grammar(dialect):
    rules = {}
    for line in (COMMON + OWN[dialect]).strip().splitlines():
        name, _, rest = line.partition(':')
        attributes, _, children = rest.partition('|')
        rules[name] = (set(attributes.split()), set(children.split()))
    for name in ACTIONS.split():
        rules[name] = (rules['Custom'][0] - {'Action'}, set())
    return rules


def check_element(path, element, dialect, rules, parent=None):
    if not element.tag.startswith(f'{{{dialect}}}'):
        return fault(f'{path}: {element.tag} is not of the namespace {dialect}')
    name = element.tag.split('}')[1]
    what = f'{path}: {name} {element.get("Id", element.get("Action", ""))}'
    if name not in rules or (parent and name not in rules[parent][1]):
        return fault(f'{what} does not stand in {parent}')
    for attribute, value in element.attrib.items():
        if attribute not in rules[name][0]:
            fault(f'{what} has no attribute {attribute}')
        elif attribute in VALUES and '$(' not in value and not re.fullmatch(VALUES[attribute], value):
            fault(f'{what}: {attribute} is {value}')
    for attribute in NEEDED.get(name, '').split():
        if attribute not in element.attrib:
            fault(f'{what} lacks {attribute}')
    if (element.text or '').strip() and name not in TEXT[dialect]:
        fault(f'{what} holds text')
    if name == 'Custom' and len({'Before', 'After', 'Sequence'} & set(element.attrib)) != 1:
        fault(f'{what} has not one place')
    if name == 'Column':
        wanted = CATEGORY if dialect == WIX4 else CATEGORY.title()
        if not re.fullmatch(wanted, element.get('Category', '')) or (
                element.get('Type') == 'int') != (element.get('Category', '').lower() == 'integer'):
            fault(f'{what}: its Category is {element.get("Category")}')
    for child in element:
        check_element(path, child, dialect, rules, name)


def tag(element):
    return element.tag.split('}')[1]


def condition_of(element):
    return element.get('Condition') or (element.text or '').strip()


def symbol_of(element):
    kind, name = tag(element), element.get('Id')
    if kind == 'SetProperty':
        return 'CustomAction', element.get('Action', f'Set{name}')
    return ('Directory' if kind == 'StandardDirectory' else kind), name


class Section:
    """What comes into the package whole or not at all."""

    def __init__(self, element):
        self.elements = list(element.iter())
        self.symbols = [symbol_of(e)
                        for e in self.elements
                        if e.get('Id') and not tag(e).endswith('Ref') and tag(e) not in ('Column', 'Upgrade', 'Media')
                        and not (tag(e) == 'CustomTable' and not [c for c in e if tag(c) == 'Column'])]

    def references(self):
        for element in self.elements:
            for attribute, value in element.attrib.items():
                kind = REFERENCES.get((tag(element), attribute))
                if kind and value not in STANDARD and not (kind == 'Directory' and value in STANDARD_FOLDERS):
                    yield kind, value
                for name in re.findall(r'!\(wix\.(\w+)\)', value):
                    yield 'WixVariable', name


def link(sections):
    """The sections that the package has, from the first on."""
    holders, reached, waiting = {}, [], [sections[0]]
    for section in sections:
        for symbol in section.symbols:
            holders.setdefault(symbol, []).append(section)
    while waiting:
        section = waiting.pop()
        if section in reached:
            continue
        reached.append(section)
        for reference in section.references():
            if reference not in holders:
                fault(f'{reference[0]} {reference[1]} is referred to, and nowhere')
            # A bind variable brings no fragment.
            elif reference[0] != 'WixVariable':
                waiting += holders[reference]
    for symbol, having in holders.items():
        here = [s for s in having if s in reached]
        if not here and ('WixVariable', symbol[1]) == symbol:
            continue
        overridable = [e for s in here for e in s.elements
                       if symbol_of(e) == symbol and e.get('Overridable') == 'yes']
        if len(here) - len(overridable) > 1:
            fault(f'{symbol[0]} {symbol[1]} is there more than once')
    return reached


def check_package(sections, numbers):
    reached = link(sections)
    elements = [e for s in reached for e in s.elements]
    symbols = {symbol for s in reached for symbol in s.symbols}
    values = {}
    for e in elements:
        if tag(e) == 'WixVariable' and (e.get('Overridable') != 'yes' or e.get('Id') not in values):
            values[e.get('Id')] = e.get('Value')
    for e in elements:
        condition = re.sub(r'!\(wix\.(\w+)\)', lambda m: values.get(m[1], m[0]), condition_of(e))
        for component in re.findall(r'[$?]([A-Za-z_][\w.]*)', re.sub(r'"[^"]*"', '', condition).replace('$$', '$')):
            if ('Component', component) not in symbols:
                fault(f'{tag(e)} {e.get("Action")}: no component {component}')
        for side, way in (('Before', 1), ('After', -1)):
            if numbers and tag(e) == 'Custom' and side in e.attrib and e.get('Action') in numbers:
                other = {**STANDARD, **numbers}.get(e.get(side))
                if other is None or (other - numbers[e.get('Action')]) * way <= 0:
                    fault(f'{e.get("Action")} is {side} {e.get(side)}, by its number it is not')
    tables = {e.get('Id'): [c for c in e if tag(c) == 'Column'] for e in elements
              if tag(e) == 'CustomTable' and [c for c in e if tag(c) == 'Column']}
    for e in elements:
        for row in (c for c in e if tag(c) == 'Row'):
            columns = {c.get('Id'): c for c in tables.get(e.get('Id'), [])}
            data = {d.get('Column'): d.get('Value') or d.text for d in row}
            for name in set(data) - set(columns):
                fault(f'{e.get("Id")} has no column {name}')
            for name, column in columns.items():
                if not data.get(name) and column.get('Nullable') != 'yes':
                    fault(f'{e.get("Id")}: a row without {name}')
                if data.get(name) and (column.get('KeyTable'), data[name]) not in symbols and column.get('KeyTable'):
                    fault(f'{e.get("Id")}: no {column.get("KeyTable")} {data[name]}')
    return len(elements)


def main():
    options, sources = getopt.getopt(sys.argv[1:], 'I:D:n:')
    folders = [v for o, v in options if o == '-I']
    numbers, sections = {}, []
    for option, value in options:
        if option == '-n':
            for action, number in re.findall(r'<Custom Action="([^"]+)" Sequence="(\d+)"', open(value).read()):
                numbers[action] = int(number)
    for path in sources:
        defines = dict(v.split('=', 1) for o, v in options if o == '-D')
        root = ET.fromstring(preprocess(path, [os.path.dirname(path)] + folders, defines))
        dialect = root.tag[1:].split('}')[0]
        if dialect not in OWN:
            fault(f'{path}: no namespace of WiX: {root.tag}')
            continue
        check_element(path, root, dialect, grammar(dialect))
        sections += [Section(e) for e in root]
    read = check_package(sections, numbers) if not faults else 0
    print('\n'.join(faults) if faults else f'{read} elements in the package')
    return 1 if faults else 0


sys.exit(main())
