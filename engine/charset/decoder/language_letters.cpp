#include "engine/charset/decoder/language_letters.h"

#include <array>

namespace trfilter {
namespace {

using Letters = LanguageLetters;

// Letters in the order of their frequency in running text.
constexpr std::array western = std::to_array<Letters>({
    {u"éèàêçôîùâûëïœü", 0},                 // French
    {u"üäößé", 0},                          // German
    {u"óáíéñúü", 0},                        // Spanish
    {u"ãçáéíóõêâúàôü", 0},                  // Portuguese
    {u"èàùòìéóî", 0},                       // Italian
    {u"ëéïèóö", 0.5},                       // Dutch
    {u"äöåé", 0},                           // Swedish, Finnish
    {u"øåæéòô", 0},                         // Danish, Norwegian
    {u"íáðéóöþúæý", 0.5},                   // Icelandic
    {u"àéíóçúèòïü", 0.5},                   // Catalan
    {u"áéíóú", 0.5},                        // Irish
    {u"ëç", 1},                             // Albanian
    {u"éèáüöóäíàçñêúâôãîûåøæùëïõòìßœ", 3},  // names and loan words of several
});

constexpr std::array central_european = std::to_array<Letters>({
    {u"łąęóśżćńź", 0},          // Polish
    {u"íáéěřžčýšůúťďňó", 0},    // Czech
    {u"áíéýžčšúťľňďôóäĺŕ", 0},  // Slovak
    {u"éáöóőíüúű", 0},          // Hungarian
    {u"čšžćđ", 0},              // Croatian, Slovenian, Bosnian
    {u"ăîâşţșțŞ", 0},           // Romanian
    {u"ëç", 1},                 // Albanian
});

constexpr std::array romanian = std::to_array<Letters>({
    {u"ăîâșț", 0},
});

constexpr std::array baltic = std::to_array<Letters>({
    {u"ėšųįžūčąę", 0},     // Lithuanian
    {u"āīēšņūļčģķžō", 0},  // Latvian
    {u"õäöüšž", 0},        // Estonian
});

constexpr std::array turkish = std::to_array<Letters>({
    {u"ıüğşöçİâî", 0},
});

constexpr std::array southern_european = std::to_array<Letters>({
    {u"ĝĉŝŭĵĥ", 0},  // Esperanto
    {u"ħġżċà", 0},   // Maltese
});

constexpr std::array celtic = std::to_array<Letters>({
    {u"ŵâŷôêîïëöáé", 0},  // Welsh
});

constexpr std::array vietnamese = std::to_array<Letters>({
    {u"\u0301\u0300\u0323đư\u0309âêôơ\u0303ăáàíóéúèìòùý", 0},
});

constexpr std::array cyrillic = std::to_array<Letters>({
    {u"оеаинтсрвлкмдпуяыьгзбчйхжшюцщэфъё", 0},    // Russian
    {u"оанивтеірслкудмпязьбгйчхжцющшїєфґ", 0.3},  // Ukrainian
    {u"аоиетнрсвлкдпмъзгбучяцжйщфхшюь", 0.3},     // Bulgarian
    {u"анікаоелртсмдвупзьыяйцбчгхўшжёфюэ", 0.3},  // Belarusian
    {u"аоиенрстјвкупмдлзгбчшцжњљћхфђџ", 0.3},     // Serbian
    {u"аоеитнрсвлкдпмујзгбчшцжќњѓљџхфѕ", 0.3},    // Macedonian
});

constexpr std::array greek = std::to_array<Letters>({
    {u"αοιετνσηρπκυλμςωγόίάδέήχθφύώβξζψϊ", 0},
});

constexpr std::array hebrew = std::to_array<Letters>({
    {u"יוהלאמרתשבנכםדעחפקטגזסצןךץף\u05B7\u05B8\u05B4\u05B6\u05B5\u05B0\u05BC", 0},
});

constexpr std::array arabic = std::to_array<Letters>({
    {u"المنيوتربعسدفهقكجحخصشضأطةإزىثذءغظئآؤ\u064B\u0640،", 0},  // Arabic
    {u"اينردهتموسبكشلزفگعخقجآحپصطچضغثذظژئؤ\u200Cء،", 0.5},      // Persian
    {u"اےیرنکوتمیہسںلبدپجھہٹگشعفحقخزڑصطچضغذظڈثژ", 0.5},         // Urdu
});

constexpr std::array thai = std::to_array<Letters>({
    {u"านรอก\u0E48เงมย\u0E31ล\u0E49วด\u0E34ท\u0E35ตสบ\u0E4Cปหค\u0E38พ\u0E39\u0E33ชะจ"
     u"ข\u0E37ใไโแ\u0E36ผซถ\u0E47ณธภญศษฟ\u0E45ฐฉฎฏฑฒฬฮฝฌ",
     0},
});

// What a superset of another set has for itself is not rarer, what only old systems wrote is.
constexpr double old_standard = 1.5;
constexpr double old_system = 4;
constexpr double rare_set = 5;

constexpr std::array candidates = std::to_array<EncodingCandidate>({
    {"windows-1252", -1, western},
    {"windows-1251", 0, cyrillic},
    {"windows-1250", 0, central_european},
    {"windows-1254", 0, turkish},
    {"windows-1257", 0, baltic},
    {"windows-1253", 0, greek},
    {"windows-1255", 0, hebrew},
    {"windows-1256", 0, arabic},
    {"windows-1258", 0.5, vietnamese},
    {"windows-874", 0, thai},
    {"koi8-r", 0.5, cyrillic},
    {"koi8-u", 0.6, cyrillic},
    {"iso-8859-2", 0.5, central_european},
    {"iso-8859-5", old_standard, cyrillic},
    {"iso-8859-6", old_standard, arabic},
    {"iso-8859-7", 0.5, greek},
    {"iso-8859-8", 1, hebrew},
    {"iso-8859-13", old_standard, baltic},
    {"iso-8859-15", old_standard, western},
    {"iso-8859-3", old_standard, southern_european},
    {"iso-8859-16", rare_set, romanian},
    {"iso-8859-4", rare_set, baltic},
    {"iso-8859-14", rare_set, celtic},
    {"ibm866", 1, cyrillic},
    {"ibm850", old_system, western},
    {"ibm437", old_system, western},
    {"ibm852", old_system, central_european},
    {"ibm775", rare_set, baltic},
    {"ibm857", rare_set, turkish},
    {"ibm855", rare_set, cyrillic},
    {"ibm737", old_system, greek},
    {"ibm862", old_system, hebrew},
    {"macintosh", old_system, western},
    {"x-mac-cyrillic", old_system, cyrillic},
    {"x-mac-ce", rare_set, central_european},
    {"x-mac-greek", rare_set, greek},
    {"x-mac-turkish", rare_set, turkish},
});

}  // namespace

std::span<const EncodingCandidate> single_byte_candidates() {
  return candidates;
}

const std::u16string_view frequent_simplified_chinese =
    u"的一是不了在人有我他这个们中来上大为和国地到以说时要就出会可也你对生能而子那得于着下自之年过"
    u"发后作里"
    u"用道行所然家种事成方多经么去法学如都同现当没动面起看定天分还进好小部其些主样理心她本前开但因"
    u"只从想实"
    u"日军者意无力它与长把机十民第公此已工使情明性知全三又关点正业外将两高间由问很最重并物手应战向"
    u"头文体政"
    u"美相见被利什二等产或新己制身果加西斯月话合回特代内信表化老给世位次度门任常先海通教儿原东声提"
    u"立及比员"
    u"解水名真论处走义各入几口认条平系气题活尔更别打女变四神总何电数安少报才结反受目太量再感建务做"
    u"接必场件"
    u"计管期市直德资命山金指克许统区保至队形社便空决治展马科司五基眼书非则听白却界达光放强即像难且"
    u"权思王象"
    u"完设式色路记南品住告类求据程北边死张该交规万取拉格望觉术领共确传师观清今切院让识候带导争运文"
    u"件选项无法";

const std::u16string_view frequent_traditional_chinese =
    u"的一是不了在人有我他這個們中來上大為和國地到以說時要就出會可也你對生能而子那得於著下自之年過"
    u"發後作裡"
    u"用道行所然家種事成方多經麼去法學如都同現當沒動面起看定天分還進好小部其些主樣理心她本前開但因"
    u"只從想實"
    u"日軍者意無力它與長把機十民第公此已工使情明性知全三又關點正業外將兩高間由問很最重並物手應戰向"
    u"頭文體政"
    u"美相見被利什二等產或新己制身果加西斯月話合回特代內信表化老給世位次度門任常先海通教兒原東聲提"
    u"立及比員"
    u"解水名真論處走義各入幾口認條平系氣題活爾更別打女變四神總何電數安少報才結反受目太量再感建務做"
    u"接必場件"
    u"計管期市直德資命山金指克許統區保至隊形社便空決治展馬科司五基眼書非則聽白卻界達光放強即像難且"
    u"權思王象"
    u"完設式色路記南品住告類求據程北邊死張該交規萬取拉格望覺術領共確傳師觀清今切院讓識候帶導爭運檔"
    u"案選項無法";

const std::u16string_view frequent_japanese =
    u"のにはをたがてとでしれさるもないあらこりっすくまよかうだいけきえどそせちつめみへわろばやおん"
    u"ずびごべげぶじ"
    u"ぎづざぼむふひほねゆぬょゃゅンスルトーリアイラドクロタシテマイレジフカムサコデバキニミパプグ"
    u"ナチセオダソ"
    u"メモエブワビハガピツボノウズェッャュョ日本人年大国会出一中事者上自分時生行業場合高地方部内長"
    u"月用的法手学"
    u"新理定対間発前後動同実東見入子性通物家社思名度当主体数力面気全期関回現代設指使記表示取最成以"
    u"不無可開使";

const std::u16string_view frequent_korean =
    u"이다는의에을가하고지로한사기리어도자를시은서나인아해일대수정보있들니면으스라게과그만여전부적"
    u"원구제생상조"
    u"동우신용연화성음비주장오문안트모소경무든방마러할선드때세거간미공교말것와식없내결려물유회실학"
    u"관중발었계위"
    u"행년치외저습반요작된입되분합재명국개진남양단체출현심본강당데터통노반후노표프민두속운건각또바"
    u"호같못렇민"
    u"파일않않을수있니까십오설력값름목록열류잘변령";

}  // namespace trfilter
