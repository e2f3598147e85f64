#include "tests/engine/language_samples.h"

#include <array>

namespace trfilter::test {
namespace {

using Labels = std::string_view;

constexpr std::array western = {Labels("windows-1252"), Labels("iso-8859-15"), Labels("ibm850"),
                                Labels("macintosh")};
constexpr std::array central = {Labels("windows-1250"), Labels("iso-8859-2"), Labels("ibm852")};
constexpr std::array baltic = {Labels("windows-1257"), Labels("iso-8859-13")};
constexpr std::array turkish = {Labels("windows-1254"), Labels("ibm857")};
constexpr std::array russian = {Labels("windows-1251"),   Labels("koi8-r"),
                                Labels("iso-8859-5"),     Labels("ibm866"),
                                Labels("x-mac-cyrillic"), Labels("ibm855")};
constexpr std::array ukrainian = {Labels("windows-1251"), Labels("koi8-u")};
constexpr std::array greek = {Labels("windows-1253"), Labels("iso-8859-7"), Labels("ibm737")};
constexpr std::array hebrew = {Labels("windows-1255"), Labels("ibm862")};
constexpr std::array arabic = {Labels("windows-1256"), Labels("iso-8859-6")};
constexpr std::array thai = {Labels("windows-874")};
constexpr std::array japanese = {Labels("shift_jis"), Labels("euc-jp"), Labels("iso-2022-jp")};
constexpr std::array simplified_chinese = {Labels("gb18030"), Labels("hz-gb-2312")};
constexpr std::array traditional_chinese = {Labels("big5")};
constexpr std::array korean = {Labels("euc-kr"), Labels("iso-2022-kr")};

constexpr std::array samples = std::to_array<LanguageSample>({
    {"German",
     "Die Überprüfung der älteren Geräte dauerte länger als erwartet. Während die Techniker noch "
     "über "
     "die Gründe rätselten, hörten die übrigen Beschäftigten schon auf zu arbeiten. Später "
     "erklärte der "
     "Geschäftsführer, dass die Störung durch ein gewöhnliches Kabel ausgelöst worden sei; für "
     "größere "
     "Schäden müsse die Versicherung aufkommen. Am nächsten Tag öffnete das Büro pünktlich um "
     "acht.",
     western},
    {"French",
     "L'été dernier, les élèves de l'école ont préparé une pièce de théâtre où chacun a trouvé sa "
     "place. Après plusieurs répétitions très longues, la première a été présentée à la mairie, "
     "devant "
     "des parents émus. Le maire, invité à prendre la parole, a félicité l'équipe et déclaré que "
     "cette "
     "expérience serait répétée l'année prochaine, peut-être même à l'étranger, grâce à un mécène.",
     western},
    {"Spanish",
     "El señor Núñez llegó a la estación después del mediodía, cuando el último tren ya había "
     "salido. "
     "Preguntó si había algún autobús, pero nadie sabía nada. Según la información del periódico, "
     "el "
     "próximo saldría mañana. ¿Qué podía hacer? Decidió caminar hacia la montaña, donde vivía un "
     "compañero de su niñez que quizás también estaría en casa.",
     western},
    {"Portuguese",
     "A comissão não chegou a nenhuma conclusão sobre a construção da estação, porque as "
     "informações "
     "eram insuficientes. Na próxima sessão serão ouvidos também os cidadãos da região, que já "
     "manifestaram a sua preocupação com a poluição e com as condições de circulação. É possível "
     "que a "
     "decisão seja tomada ainda antes das férias de verão.",
     western},
    {"Swedish",
     "På våren går många ut i skogen för att lyssna på fåglarna. När snön har smält börjar ån "
     "svämma "
     "över, och båtarna måste dras upp på land. Där växer även blåbär, men de får man vänta på "
     "ända "
     "till sensommaren. Då är det många som åker dit för att plocka bär och svamp, både äldre och "
     "yngre.",
     western},
    {"Danish",
     "Når køerne kommer på græs om foråret, møder mange mennesker op for at se dem løbe ud. Det er "
     "også "
     "en dag, hvor børnene får lov at prøve at køre traktor. Bagefter bliver der drukket øl og "
     "spist "
     "pølser, og om aftenen går de fleste trætte hjem over broen ved åen.",
     western},
    {"Polish",
     "Wczoraj późnym wieczorem goście wrócili z długiej podróży. Opowiadali, że w górach spadł już "
     "śnieg "
     "i że część dróg była zamknięta. Mimo to udało się im zwiedzić kościół i stary młyn, który "
     "należał kiedyś do książęcej rodziny. Następnego dnia chcą jeszcze raz spróbować wejść na "
     "szczyt, "
     "jeżeli pogoda się nie pogorszy.",
     central},
    {"Czech",
     "Včera večer přijeli hosté z dlouhé cesty. Vyprávěli, že v horách už napadl sníh a že část "
     "silnic "
     "byla uzavřena. Přesto se jim podařilo navštívit kostel a starý mlýn, který kdysi patřil "
     "knížecí "
     "rodině. Příští den chtějí znovu zkusit vystoupit na vrchol, jestliže se počasí nezhorší.",
     central},
    {"Hungarian",
     "Tegnap késő este érkeztek meg a vendégek a hosszú útról. Elmesélték, hogy a hegyekben már "
     "leesett "
     "az első hó, és hogy az utak egy részét lezárták. Ennek ellenére sikerült megnézniük a "
     "templomot és "
     "a régi malmot, amely egykor a hercegi családé volt. Másnap újra megpróbálnak följutni a "
     "csúcsra, "
     "ha az idő nem romlik el; különben a fűtött szobában fognak kártyázni.",
     central},
    {"Croatian",
     "Jučer su kasno navečer stigli gosti s dugog puta. Pričali su da je u planinama već pao "
     "snijeg i "
     "da je dio cesta bio zatvoren. Ipak su uspjeli posjetiti crkvu i stari mlin koji je nekoć "
     "pripadao "
     "kneževskoj obitelji. Sljedeći dan žele još jednom pokušati doći na vrh, ako se vrijeme ne "
     "pogorša, a možda će ih pratiti i domaćin koji dobro poznaje šumske puteve.",
     central},
    {"Lithuanian",
     "Vakar vėlai vakare svečiai grįžo iš ilgos kelionės. Jie pasakojo, kad kalnuose jau iškrito "
     "sniegas "
     "ir kad dalis kelių buvo uždaryta. Vis dėlto jiems pavyko aplankyti bažnyčią ir seną malūną, "
     "kuris "
     "kadaise priklausė kunigaikščių šeimai. Kitą dieną jie nori dar kartą pabandyti įkopti į "
     "viršūnę.",
     baltic},
    {"Latvian",
     "Vakar vēlu vakarā viesi atgriezās no garā ceļojuma. Viņi stāstīja, ka kalnos jau uzsnidzis "
     "sniegs "
     "un ka daļa ceļu bijusi slēgta. Tomēr viņiem izdevās apskatīt baznīcu un vecās dzirnavas, kas "
     "kādreiz piederējušas firstu dzimtai. Nākamajā dienā viņi grib vēlreiz mēģināt uzkāpt "
     "virsotnē.",
     baltic},
    {"Turkish",
     "Dün akşam geç saatte misafirler uzun bir yolculuktan döndüler. Dağlarda karın yağdığını ve "
     "yolların "
     "bir kısmının kapalı olduğunu anlattılar. Yine de kiliseyi ve eskiden prens ailesine ait olan "
     "eski "
     "değirmeni gezmeyi başardılar. Ertesi gün hava bozulmazsa zirveye çıkmayı tekrar "
     "deneyecekler.",
     turkish},
    {"Russian",
     "Вчера поздно вечером гости вернулись из долгого путешествия. Они рассказывали, что в горах "
     "уже "
     "выпал снег и что часть дорог была закрыта. Всё же им удалось осмотреть церковь и старую "
     "мельницу, "
     "которая когда-то принадлежала княжеской семье. На следующий день они хотят ещё раз "
     "попробовать "
     "подняться на вершину, если погода не испортится.",
     russian},
    {"Ukrainian",
     "Учора пізно ввечері гості повернулися з довгої подорожі. Вони розповідали, що в горах уже "
     "випав "
     "сніг і що частина доріг була закрита. Усе ж їм пощастило оглянути церкву й старий млин, який "
     "колись належав княжій родині. Наступного дня вони хочуть ще раз спробувати піднятися на "
     "вершину.",
     ukrainian},
    {"Greek",
     "Χθες αργά το βράδυ οι επισκέπτες επέστρεψαν από ένα μακρινό ταξίδι. Διηγήθηκαν ότι στα βουνά "
     "έχει "
     "ήδη πέσει χιόνι και ότι ένα μέρος των δρόμων ήταν κλειστό. Παρ' όλα αυτά κατάφεραν να δουν "
     "την "
     "εκκλησία και τον παλιό μύλο, που ανήκε κάποτε στην οικογένεια του πρίγκιπα.",
     greek},
    {"Hebrew",
     "אתמול מאוחר בערב חזרו האורחים ממסע ארוך. הם סיפרו שבהרים כבר ירד שלג ושחלק מן הדרכים היה "
     "סגור. "
     "בכל זאת הצליחו לבקר בכנסייה ובטחנה הישנה, שהייתה שייכת פעם למשפחת הנסיך. ביום שלמחרת הם "
     "רוצים "
     "לנסות שוב לעלות אל הפסגה, אם מזג האוויר לא יורע.",
     hebrew},
    {"Arabic",
     "عاد الضيوف مساء أمس في ساعة متأخرة من رحلة طويلة. وقد حكوا أن الثلج سقط في الجبال وأن بعض "
     "الطرق "
     "كانت مغلقة. ومع ذلك تمكنوا من زيارة الكنيسة والطاحونة القديمة التي كانت ملكا لعائلة الأمير. "
     "وفي "
     "اليوم التالي يريدون أن يحاولوا مرة أخرى الصعود إلى القمة إذا لم يسوء الطقس.",
     arabic},
    {"Thai",
     "เมื่อวานนี้ตอนดึกแขกกลับมาจากการเดินทางไกล พวกเขาเล่าว่าบนภูเขามีหิมะตกแล้ว และถนนบางส่วนถูกปิด "
     "แต่พวกเขาก็ยังได้ไปชมโบสถ์และโรงสีเก่าซึ่งเคยเป็นของตระกูลเจ้าชาย วันรุ่งขึ้นพวกเขาอยากลองขึ้นไปบนยอดเขาอีกครั้ง",
     thai},
    {"Japanese",
     "昨日の夜遅く、お客さんたちは長い旅行から帰ってきました。山ではもう雪が降っていて、道の一部は"
     "通れなかったそう"
     "です。それでも教会と、昔は王子の家族のものだった古い水車を見ることができました。明日は天気が"
     "悪くならなければ、"
     "もう一度頂上まで登ってみたいと言っています。カメラとノートも忘れないでください。",
     japanese},
    {"Chinese, simplified",
     "昨天晚上很晚的时候，客人们从很远的地方回来了。他们说山上已经下了雪，有一部分道路不能通过。不"
     "过他们还是看到了教堂"
     "和那座老房子，它以前是王子一家的。如果天气没有变坏，明天他们想再试一次，走到山顶上去。大家都"
     "觉得这是一个好主意。",
     simplified_chinese},
    {"Chinese, traditional",
     "昨天晚上很晚的時候，客人們從很遠的地方回來了。他們說山上已經下了雪，有一部分道路不能通過。不"
     "過他們還是看到了教堂"
     "和那座老房子，它以前是王子一家的。如果天氣沒有變壞，明天他們想再試一次，走到山頂上去。大家都"
     "覺得這是一個好主意。",
     traditional_chinese},
    {"Korean",
     "어제 밤 늦게 손님들이 긴 여행에서 돌아왔습니다. 산에는 벌써 눈이 내렸고 길의 일부는 막혀 "
     "있었다고 합니다. 그래도 "
     "교회와 옛날에 왕자의 가족이 살던 오래된 집을 볼 수 있었습니다. 날씨가 나빠지지 않으면 내일 "
     "다시 한 번 정상까지 "
     "올라가 보고 싶다고 합니다.",
     korean},
});

}  // namespace

std::span<const LanguageSample> language_samples() {
  return samples;
}

}  // namespace trfilter::test
