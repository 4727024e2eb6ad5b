#include "ui/settings_labels.h"

namespace qx {

namespace {

// clang-format off
// One row per language, in the order of kLanguageCodes; texts in the order of Label. U+200E keeps Latin pieces of Arabic texts in reading
// order where they begin or end with a sign that has no direction of its own.
constexpr const char* kTexts[kLanguageCount][kLabelCount] = {
    {"Source settings", "Picture of this clip", "Color output", "Linear (BT.2020, scene)", "LUT", "No LUT", "Choose .cube…", "Turn LUT off",
     "With a LUT, the output is Rec.709.", "Exposure", "White balance", "As shot", "Temperature and tint", "Tint", "Debayer",
     "AHD + color noise reduction", "Bilinear", "Lens distortion correction", "Vignetting correction",
     "Develop on the processor, without the graphics card", "Use these settings for new clips", "Reset", "OK", "Cancel",
     "Cannot read the LUT: %1"},
    {"إعدادات المصدر", "صورة هذا المقطع", "إخراج الألوان", "خطي (BT.2020، المشهد)", "LUT", "بدون LUT", "اختيار \u200e.cube…\u200e", "إيقاف LUT",
     "مع LUT يكون الإخراج Rec.709.", "التعريض", "توازن البياض", "كما صُوِّر", "الحرارة والصبغة", "الصبغة", "إزالة نمط باير",
     "AHD + تقليل ضجيج الألوان", "خطي ثنائي", "تصحيح تشوه العدسة", "تصحيح تظليل الحواف",
     "التحميض على المعالج دون بطاقة الرسومات", "استخدام هذه الإعدادات للمقاطع الجديدة", "إعادة تعيين", "موافق", "إلغاء",
     "تعذرت قراءة LUT: \u200e%1"},
    {"Quelleinstellungen", "Bild dieses Clips", "Farbausgabe", "Linear (BT.2020, Szene)", "LUT", "Keine LUT", ".cube wählen…",
     "LUT ausschalten", "Mit einer LUT ist die Ausgabe Rec.709.", "Belichtung", "Weißabgleich", "Wie aufgenommen", "Temperatur und Tönung",
     "Tönung", "Debayering", "AHD + Farbrauschminderung", "Bilinear", "Verzeichnungskorrektur", "Vignettierungskorrektur",
     "Auf dem Prozessor entwickeln, ohne Grafikkarte", "Diese Einstellungen für neue Clips verwenden", "Zurücksetzen", "OK", "Abbrechen",
     "Die LUT kann nicht gelesen werden: %1"},
    {"Ajustes de origen", "Imagen de este clip", "Salida de color", "Lineal (BT.2020, escena)", "LUT", "Sin LUT", "Elegir .cube…",
     "Desactivar LUT", "Con una LUT, la salida es Rec.709.", "Exposición", "Balance de blancos", "Según la toma", "Temperatura y matiz",
     "Matiz", "Debayer", "AHD + reducción de ruido de color", "Bilineal", "Corrección de distorsión", "Corrección de viñeteado",
     "Revelar con el procesador, sin la tarjeta gráfica", "Usar estos ajustes para los clips nuevos", "Restablecer", "Aceptar", "Cancelar",
     "No se puede leer la LUT: %1"},
    {"Réglages de la source", "Image de ce clip", "Sortie couleur", "Linéaire (BT.2020, scène)", "LUT", "Aucune LUT", "Choisir un .cube…",
     "Désactiver la LUT", "Avec une LUT, la sortie est en Rec.709.", "Exposition", "Balance des blancs", "Telle quelle",
     "Température et teinte", "Teinte", "Dématriçage", "AHD + réduction du bruit coloré", "Bilinéaire", "Correction de la distorsion",
     "Correction du vignetage", "Développer sur le processeur, sans la carte graphique", "Utiliser ces réglages pour les nouveaux clips",
     "Réinitialiser", "OK", "Annuler", "Impossible de lire la LUT\u00a0: %1"},
    {"स्रोत सेटिंग्स", "इस क्लिप का चित्र", "रंग आउटपुट", "लीनियर (BT.2020, दृश्य)", "LUT", "कोई LUT नहीं", ".cube चुनें…", "LUT बंद करें",
     "LUT के साथ आउटपुट Rec.709 होता है।", "एक्सपोज़र", "व्हाइट बैलेंस", "शूट के अनुसार", "तापमान और टिंट", "टिंट", "डिबेयर",
     "AHD + रंग नॉइज़ में कमी", "बाइलीनियर", "लेंस विरूपण सुधार", "विनेटिंग सुधार", "ग्राफ़िक्स कार्ड के बिना, प्रोसेसर पर डेवलप करें",
     "नई क्लिप के लिए इन सेटिंग्स का उपयोग करें", "रीसेट करें", "ठीक", "रद्द करें", "LUT को पढ़ा नहीं जा सका: %1"},
    {"Pengaturan sumber", "Gambar klip ini", "Output warna", "Linear (BT.2020, adegan)", "LUT", "Tanpa LUT", "Pilih .cube…",
     "Nonaktifkan LUT", "Dengan LUT, output menjadi Rec.709.", "Eksposur", "Keseimbangan putih", "Sesuai rekaman", "Suhu dan tint", "Tint",
     "Debayer", "AHD + pengurangan noise warna", "Bilinear", "Koreksi distorsi lensa", "Koreksi vinyet",
     "Olah dengan prosesor, tanpa kartu grafis", "Gunakan pengaturan ini untuk klip baru", "Atur ulang", "OK", "Batal",
     "LUT tidak dapat dibaca: %1"},
    {"Impostazioni sorgente", "Immagine di questa clip", "Uscita colore", "Lineare (BT.2020, scena)", "LUT", "Nessuna LUT",
     "Scegli .cube…", "Disattiva LUT", "Con una LUT l’uscita è Rec.709.", "Esposizione", "Bilanciamento del bianco", "Come ripreso",
     "Temperatura e tinta", "Tinta", "Debayer", "AHD + riduzione del rumore colore", "Bilineare", "Correzione distorsione",
     "Correzione vignettatura", "Sviluppa con il processore, senza la scheda grafica", "Usa queste impostazioni per le nuove clip",
     "Ripristina", "OK", "Annulla", "Impossibile leggere la LUT: %1"},
    {"ソース設定", "このクリップの画像", "カラー出力", "リニア (BT.2020、シーン)", "LUT", "LUT なし", ".cube を選択…", "LUT をオフ",
     "LUT を使用すると、出力は Rec.709 になります。", "露光量", "ホワイトバランス", "撮影時の設定", "色温度と色かぶり補正", "色かぶり補正",
     "デベイヤー", "AHD + カラーノイズ軽減", "バイリニア", "レンズの歪み補正", "周辺光量補正",
     "グラフィックカードを使わずにプロセッサーで現像", "この設定を新しいクリップに使用", "リセット", "OK", "キャンセル",
     "LUT を読み込めません: %1"},
    {"소스 설정", "이 클립의 화면", "색상 출력", "선형(BT.2020, 장면)", "LUT", "LUT 없음", ".cube 선택…", "LUT 끄기",
     "LUT를 사용하면 출력은 Rec.709입니다.", "노출", "화이트 밸런스", "촬영 시 설정", "색온도 및 색조", "색조", "디베이어",
     "AHD + 색상 노이즈 감소", "쌍선형", "렌즈 왜곡 보정", "비네팅 보정", "그래픽 카드 없이 프로세서에서 현상", "새 클립에 이 설정 사용",
     "재설정", "확인", "취소", "LUT를 읽을 수 없습니다: %1"},
    {"Avota iestatījumi", "Šī klipa attēls", "Krāsu izvade", "Lineāra (BT.2020, aina)", "LUT", "Bez LUT", "Izvēlēties .cube…",
     "Izslēgt LUT", "Ar LUT izvade ir Rec.709.", "Ekspozīcija", "Baltā balanss", "Kā uzņemts", "Temperatūra un nokrāsa", "Nokrāsa",
     "Debayer", "AHD + krāsu trokšņu mazināšana", "Bilineāra", "Objektīva kropļojumu korekcija", "Vinjetēšanas korekcija",
     "Attīstīt ar procesoru, bez grafikas kartes", "Lietot šos iestatījumus jauniem klipiem", "Atiestatīt", "Labi", "Atcelt",
     "Nevar nolasīt LUT: %1"},
    {"Configurações da origem", "Imagem deste clipe", "Saída de cor", "Linear (BT.2020, cena)", "LUT", "Sem LUT", "Escolher .cube…",
     "Desativar LUT", "Com uma LUT, a saída é Rec.709.", "Exposição", "Balanço de branco", "Como gravado", "Temperatura e matiz", "Matiz",
     "Debayer", "AHD + redução de ruído de cor", "Bilinear", "Correção de distorção da lente", "Correção de vinheta",
     "Revelar no processador, sem a placa de vídeo", "Usar estas configurações em novos clipes", "Redefinir", "OK", "Cancelar",
     "Não é possível ler a LUT: %1"},
    {"Настройки источника", "Изображение этого клипа", "Цвет на выходе", "Линейный (BT.2020, сцена)", "LUT", "Без LUT", "Выбрать .cube…",
     "Отключить LUT", "С LUT на выходе будет Rec.709.", "Экспозиция", "Баланс белого", "Как снято", "Температура, оттенок", "Оттенок",
     "Дебайеризация", "AHD + подавление цветового шума", "Билинейная", "Коррекция дисторсии", "Коррекция виньетирования",
     "Проявлять на процессоре, без видеокарты", "Использовать эти настройки для новых клипов", "Сбросить", "ОК", "Отмена",
     "Не удаётся прочитать LUT: %1"},
    {"Параметри джерела", "Зображення цього кліпу", "Колір на виході", "Лінійний (BT.2020, сцена)", "LUT", "Без LUT", "Вибрати .cube…",
     "Вимкнути LUT", "З LUT на виході буде Rec.709.", "Експозиція", "Баланс білого", "Як знято", "Температура, відтінок", "Відтінок",
     "Дебаєризація", "AHD + зменшення колірного шуму", "Білінійна", "Корекція дисторсії", "Корекція віньєтування",
     "Проявляти на процесорі, без відеокарти", "Використовувати ці параметри для нових кліпів", "Скинути", "OK", "Скасувати",
     "Не вдається прочитати LUT: %1"},
    {"源设置", "此剪辑的画面", "颜色输出", "线性（BT.2020，场景）", "LUT", "无 LUT", "选择 .cube…", "关闭 LUT", "使用 LUT 时，输出为 Rec.709。",
     "曝光", "白平衡", "按拍摄设置", "色温和色调", "色调", "去拜耳", "AHD + 彩色降噪", "双线性", "镜头畸变校正", "暗角校正",
     "用处理器显影，不用显卡", "将这些设置用于新剪辑", "重置", "确定", "取消", "无法读取 LUT：%1"},
};
// clang-format on

constexpr int kArabic = 1;

}  // namespace

const char* LabelText(int languageIndex, Label label) {
  const bool isKnown = languageIndex >= 0 && languageIndex < kLanguageCount;
  return kTexts[isKnown ? languageIndex : 0][int(label)];
}

bool IsRightToLeft(int languageIndex) {
  return languageIndex == kArabic;
}

std::string LutErrorText(int languageIndex, std::string_view path) {
  std::string text = LabelText(languageIndex, Label::kLutError);
  const size_t place = text.find("%1");
  return place == std::string::npos ? text : text.replace(place, 2, path);
}

}  // namespace qx
