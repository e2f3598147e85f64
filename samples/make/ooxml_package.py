"""Writes packages of Office Open XML byte for byte the same each time."""

import zipfile

DECLARATION = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'
OFFICE = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/"
PACKAGE = "http://schemas.openxmlformats.org/package/2006/"
NAMESPACES = "".join(
    f' xmlns:{prefix}="{uri}"'
    for prefix, uri in {
        "w": "http://schemas.openxmlformats.org/wordprocessingml/2006/main",
        "r": "http://schemas.openxmlformats.org/officeDocument/2006/relationships",
        "m": "http://schemas.openxmlformats.org/officeDocument/2006/math",
        "mc": "http://schemas.openxmlformats.org/markup-compatibility/2006",
        "a": "http://schemas.openxmlformats.org/drawingml/2006/main",
        "c": "http://schemas.openxmlformats.org/drawingml/2006/chart",
        "dgm": "http://schemas.openxmlformats.org/drawingml/2006/diagram",
        "p": "http://schemas.openxmlformats.org/presentationml/2006/main",
        "wp": "http://schemas.openxmlformats.org/drawingml/2006/wordprocessingDrawing",
        "wps": "http://schemas.microsoft.com/office/word/2010/wordprocessingShape",
        "v": "urn:schemas-microsoft-com:vml",
    }.items()
)


class Package:
    """Parts, their content types and relationships."""

    def __init__(self):
        self.parts = {}
        self.types = {}
        self.relationships = {}

    def add(self, name, root, content, content_type, attributes=""):
        """Adds a part with a root element that declares every prefix."""
        self.parts[name] = f"{DECLARATION}<{root}{NAMESPACES}{attributes}>{content}</{root}>"
        self.types[name] = content_type

    def relate(self, source, kind, target, base=OFFICE):
        """Relates a part name or external target to a source ("" is the package); gives the id."""
        rows = self.relationships.setdefault(source, [])
        rows.append((f"rId{len(rows) + 1}", base + kind, target))
        return rows[-1][0]

    def properties(self, title, author, application):
        core = (
            f'<cp:coreProperties xmlns:cp="{PACKAGE}metadata/core-properties"'
            ' xmlns:dc="http://purl.org/dc/elements/1.1/" xmlns:dcterms="http://purl.org/dc/terms/">'
            f"<dc:title>{title}</dc:title><dc:creator>{author}</dc:creator>"
            "<dcterms:created>2024-02-29T12:00:00Z</dcterms:created></cp:coreProperties>"
        )
        self.parts["docProps/core.xml"] = DECLARATION + core
        self.types["docProps/core.xml"] = "application/vnd.openxmlformats-package.core-properties+xml"
        self.relate("", "metadata/core-properties", "docProps/core.xml", PACKAGE + "relationships/")
        self.parts["docProps/app.xml"] = (
            f"{DECLARATION}<Properties"
            ' xmlns="http://schemas.openxmlformats.org/officeDocument/2006/extended-properties">'
            f"<Application>{application}</Application></Properties>"
        )
        self.types["docProps/app.xml"] = (
            "application/vnd.openxmlformats-officedocument.extended-properties+xml"
        )
        self.relate("", "extended-properties", "docProps/app.xml")

    def write(self, path):
        files = {"[Content_Types].xml": self._content_types()}
        for source, rows in self.relationships.items():
            folder, _, name = source.rpartition("/")
            files[f"{folder}/_rels/{name}.rels".lstrip("/")] = self._relationships(rows)
        files.update(self.parts)
        with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
            for name, content in files.items():
                info = zipfile.ZipInfo(name, (1980, 1, 1, 0, 0, 0))
                info.compress_type = zipfile.ZIP_DEFLATED
                archive.writestr(info, content)

    def _content_types(self):
        rows = "".join(
            f'<Override PartName="/{name}" ContentType="{kind}"/>' for name, kind in self.types.items()
        )
        return (
            f'{DECLARATION}<Types xmlns="{PACKAGE}content-types"><Default Extension="rels"'
            ' ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
            f'<Default Extension="xml" ContentType="application/xml"/>{rows}</Types>'
        )

    @staticmethod
    def _relationships(rows):
        items = "".join(
            f'<Relationship Id="{identifier}" Type="{kind}" Target="{"" if "//" in target else "/"}{target}"'
            + (' TargetMode="External"/>' if "//" in target else "/>")
            for identifier, kind, target in rows
        )
        return f'{DECLARATION}<Relationships xmlns="{PACKAGE}relationships">{items}</Relationships>'


def chart(title, categories, series):
    """The content of a chart part."""

    def points(values):
        return "".join(f'<c:pt idx="{i}"><c:v>{v}</c:v></c:pt>' for i, v in enumerate(values))

    rows = "".join(
        f"<c:ser><c:tx><c:strRef><c:strCache>{points([name])}</c:strCache></c:strRef></c:tx>"
        f"<c:cat><c:strRef><c:strCache>{points(categories)}</c:strCache></c:strRef></c:cat>"
        "<c:val><c:numRef><c:numCache><c:formatCode>General</c:formatCode>"
        f"{points(values)}</c:numCache></c:numRef></c:val></c:ser>"
        for name, values in series.items()
    )
    return (
        f"<c:chart><c:title><c:tx><c:rich><a:p><a:r><a:t>{title}</a:t></a:r></a:p></c:rich></c:tx>"
        f"</c:title><c:plotArea><c:barChart>{rows}</c:barChart></c:plotArea></c:chart>"
    )


def diagram(texts):
    """The content of a diagram's data part."""
    rows = "".join(
        f'<dgm:pt modelId="{i}"><dgm:t><a:bodyPr/><a:p><a:r><a:t>{text}</a:t></a:r></a:p></dgm:t></dgm:pt>'
        for i, text in enumerate(texts)
    )
    return f"<dgm:ptLst>{rows}</dgm:ptLst>"
