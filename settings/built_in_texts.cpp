#include "settings/built_in_texts.h"

const BuiltInTexts kBuiltInTexts[kBuiltInLanguageCount] = {
    {"en",
     {"Setup", "Advanced Settings", "Color or Black/White", "Format Media", "Help", "Date and Time", "Language",
      "TV out"}},
    {"es",
     {"configuraci\xA8\xAE"
      "n",
      "Configuraci\xA8\xAE"
      "n avanzada",
      "Color / monocromo", "Formato de tarjeta de memoria", "ayuda", "Fecha y hora", "lengua", "salida de TV"}},
    {"fr",
     {"configuration",
      "Param\xA8\xA8"
      "tres avanc\xA8\xA6"
      "s",
      "Couleur / monochrome",
      "Formater la carte m\xA8\xA6"
      "moire",
      "aider", "Date et heure", "langue", "sortie TV"}},
    {"de",
     {"Konfiguration", "Erweiterte Einstellungen", "Farbe / Monochrom", "Formatieren der Speicherkarte", "Hilfe",
      "Datum und Uhrzeit", "Sprache", "TV-Ausgang"}},
    {"nl",
     {"Configuratie", "Geavanceerde instellingen", "Kleur / monochroom", "Geheugenkaart formatteren", "Help",
      "Datum en tijd", "taal", "TV-uitgang"}},
};
