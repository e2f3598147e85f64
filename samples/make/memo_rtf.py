#!/usr/bin/env python3
"""Writes samples/memo.rtf: a memo with notes, tables, fields, revisions and several character sets."""

import os

HEADER = r"""{\rtf1\ansi\ansicpg1252\uc1\deff0\deflang1033
{\fonttbl{\f0\froman\fcharset0\fprq2 Times New Roman;}{\f1\fnil\fcharset2 Symbol;}
{\f2\fnil\fcharset2 Wingdings;}{\f3\froman\fcharset204 Times New Roman Cyr;}
{\f4\fmodern\fcharset128 Mincho{\*\falt Gothic};}}
{\colortbl;\red0\green0\blue0;\red200\green0\blue0;}
{\stylesheet{\s0 Normal;}{\s1\b heading 1;}}
{\*\revtbl{Unknown;}{A. Editor;}}
{\*\generator Sample Maker 1.0;}
{\info{\title Memo about the harbour}{\subject Repairs}{\author M. Keeper}{\operator A. Editor}
{\keywords harbour, crane, quay}{\doccomm Not for the notice board}{\*\category Memos}
{\*\manager H. Master}{\*\company Harbour Office}
{\creatim\yr2024\mo3\dy4\hr9\min30}{\revtim\yr2024\mo3\dy5\hr17\min5}
\version4\edmins35\nofpages2\nofwords180\nofchars1050}
{\*\userprops{\propname Berth}\proptype3{\staticval 7}{\propname Closed}\proptype11{\staticval 1}}
"""

BODY = r"""\sectd\sbkpage
{\header\pard\qr Harbour Office\par}
{\footer\pard\qc Page {\field{\*\fldinst PAGE}{\fldrslt 1}}\par}
{\pard\s1\b Memo about the harbour\par}
\pard The crane on the north quay\emdash the \ldblquote old lady\rdblquote\emdash is to be repaired
{\super\chftn}{\footnote\pard\plain {\super\chftn} Last time in 1998.\par} before winter.
 It lifts 3\~t at 12\'b0, caf\'e9 tables included; re\-pair costs \u8364 ?4\_500.\par
{\listtext\pard\plain\f1 \'b7\tab}Grease the chain\par
{\listtext\pard\plain\f1 \'b7\tab}Paint the arm {\field{\*\fldinst SYMBOL 252 \\f "Wingdings"}{\fldrslt\f2}}\par
{\pntext\f0 3.\tab}Call {\field{\*\fldinst{HYPERLINK "http://harbour.example/"}}{\fldrslt{\ul the office}}}\par
\pard The crew: {\f3 \'c8\'e2\'e0\'ed}, {\f4 \'93\'fa\'96\'7b\'83\'5c} and \u-10179?\u-8694?.\par
\trowd\cellx3000\cellx6000\cellx9000
\pard\intbl Part\cell Needed\cell In store\cell\row
\trowd\cellx3000\cellx6000\cellx9000
\pard\intbl Chain{\*\atnid MK}{\*\atnauthor M. Keeper}{\*\annotation\pard\plain Check the links first.\par}\cell 12 m\cell\cell\row
\trowd\cellx3000\cellx6000\cellx9000
\pard\intbl Bolts\cell
\pard\intbl\itap2 M8\nestcell 40\nestcell{\*\nesttableprops\trowd\cellx1000\cellx2000\nestrow}{\nonesttables\par}
\pard\intbl\itap2 M10\nestcell 16\nestcell{\*\nesttableprops\trowd\cellx1000\cellx2000\nestrow}{\nonesttables\par}
\pard\intbl\itap1\cell none\cell\row
\pard The work {\deleted\revauthdel1 may}{\revised\revauth1 will} begin on
 {\field{\*\fldinst DATE \\@ "d MMMM yyyy"}{\fldrslt 5 March 2024}}
 and is filed as {\field{\*\fldinst FILENAME}{\fldrslt memo.rtf}}.{\v  The budget is secret.}\par
\pard {\shp{\*\shpinst\shpleft100\shptop100\shpright900\shpbottom400
{\sp{\sn shapeType}{\sv 202}}{\shptxt\pard Keep off the quay!\par}}
{\shprslt{\*\do\dobxpage{\dptxbx{\dptxbxtext\pard Keep off the quay!\par}}}}}
The plan of the quay is below.\par
{\*\shppict{\pict{\*\picprop{\sp{\sn wzDescription}{\sv Plan of the north quay}}}\pngblip\picw1\pich1
89504e470d0a1a0a0000000d49484452}}{\nonshppict{\pict\wmetafile8 0100}}
\sect\sectd\sbkpage
\pard The second page has {\upr{one line}{\*\ud{one line \u8211 -}}} no more.
{\footnote\ftnalt\pard\plain Written on a Monday.\par}\par
}
"""


def main():
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "memo.rtf")
    with open(path, "wb") as file:
        file.write((HEADER + BODY).encode("ascii"))


if __name__ == "__main__":
    main()
