// Client companies with their students, and the trainers.
#include "demo/contents.h"

namespace surva::demo {
namespace {

constexpr PersonText kNordhaven[] = {
    {"Mette", "Sørensen"}, {"Lars", "Kjærgaard"},    {"Freja", "Lindholm"},  {"Anders", "Bøgh"},
    {"Camilla", "Friis"},  {"Jonas", "Vestergaard"}, {"Signe", "Mikkelsen"}, {"Rasmus", "Dahl"},
    {"Ida", "Thomsen"},    {"Niels", "Østergaard"},  {"Katrine", "Holm"},    {"Mikkel", "Andreasen"},
    {"Line", "Bertelsen"},
};
constexpr PersonText kOLeary[] = {
    {"Siobhán", "O'Brien"}, {"Declan", "Murphy"}, {"Aoife", "Kelleher"}, {"Cormac", "O'Sullivan"},
    {"Niamh", "Crowley"},   {"Eoin", "McCarthy"}, {"Gráinne", "Walsh"},  {"Padraig", "Hennessy"},
    {"Orla", "Fitzgerald"}, {"Ronan", "Desmond"}, {"Sinéad", "Barry"},   {"Conor", "O'Leary"},
};
constexpr PersonText kMueller[] = {
    {"Jürgen", "Müller"}, {"Sabine", "Weiß"},  {"Thomas", "Krämer"},  {"Annegret", "Schäfer"}, {"Florian", "Böhm"},
    {"Katja", "Lorenz"},  {"Uwe", "Grünwald"}, {"Heike", "Pfeiffer"}, {"Matthias", "Vogel"},   {"Petra", "König"},
    {"Sven", "Hartmann"}, {"Ulrike", "Jäger"}, {"Tobias", "Fuchs"},
};
constexpr PersonText kElysee[] = {
    {"Élodie", "Marchand"}, {"Jean-François", "Lefèvre"}, {"Amélie", "Rousseau"}, {"Benoît", "Garnier"},
    {"Chloé", "Perrin"},    {"Étienne", "Dubois"},        {"Hélène", "Moreau"},   {"Mathieu", "Chevalier"},
    {"Nathalie", "Blanc"},  {"Olivier", "Fontaine"},      {"Solène", "Girard"},   {"Thierry", "D'Arcy"},
};
constexpr PersonText kBaltic[] = {
    {"Anna", "Kowalska"},   {"Piotr", "Zawadzki"}, {"Barbara", "Wilczek"},  {"Robert", "Wójcik"},
    {"Katarzyna", "Nowak"}, {"Tomasz", "Mazur"},   {"Agnieszka", "Sikora"}, {"Marek", "Lewandowski"},
    {"Ewa", "Jankowska"},   {"Adam", "Kaczmarek"}, {"Joanna", "Sobczak"},   {"Grzegorz", "Pawlak"},
    {"Magdalena", "Król"},
};
constexpr PersonText kIberia[] = {
    {"María del Carmen", "Fernández de la Vega y Sánchez-Ostiz"},
    {"Javier", "Ortega"},
    {"Lucía", "Núñez"},
    {"Alejandro", "Castaño"},
    {"Inés", "Romero"},
    {"Pablo", "Gutiérrez"},
    {"Rocío", "Delgado"},
    {"Sergio", "Molina"},
    {"Carmen", "Peña"},
    {"Diego", "Vázquez"},
    {"Marta", "Iglesias"},
    {"Ángel", "Cabrera"},
};
constexpr PersonText kHarrow[] = {
    {"Charlotte", "Whitfield"}, {"James", "Okonkwo"},   {"Priya", "Raman"},      {"Oliver", "Hastings"},
    {"Gemma", "Doyle"},         {"Daniel", "Abrahams"}, {"Fiona", "Mackintosh"}, {"Samuel", "Pryce"},
    {"Leila", "Haddad"},        {"George", "Tennant"},  {"Hannah", "Ashworth"},  {"Marcus", "Bell"},
    {"Yasmin", "Chowdhury"},
};
constexpr PersonText kRossi[] = {
    {"Giulia", "Rossi"},    {"Marco", "Bianchi"},    {"Francesca", "D'Angelo"}, {"Lorenzo", "Ferrari"},
    {"Chiara", "Ricci"},    {"Alessandro", "Gallo"}, {"Elena", "Costa"},        {"Davide", "Mancini"},
    {"Silvia", "Barbieri"}, {"Niccolò", "Fontana"},  {"Paola", "Conti"},        {"Stefano", "Greco"},
};
constexpr PersonText kVanDerMeer[] = {
    {"Pieter", "van der Meer"}, {"Sanne", "de Vries"}, {"Daan", "Bakker"},    {"Femke", "Jansen"},
    {"Joost", "van Dijk"},      {"Anouk", "Visser"},   {"Bram", "Smit"},      {"Marieke", "Mulder"},
    {"Thijs", "de Boer"},       {"Lotte", "Peters"},   {"Ruben", "Hendriks"}, {"Eva", "van den Berg"},
};
constexpr PersonText kWholesalers[] = {
    {"Luc", "Vandenberghe"}, {"Isabelle", "Claes"},  {"Koen", "Peeters"},     {"Véronique", "Lambert"},
    {"Wout", "Maes"},        {"Delphine", "Renard"}, {"Stijn", "Wouters"},    {"Aurélie", "Dupont"},
    {"Jeroen", "Goossens"},  {"Nora", "El Amrani"},  {"Philippe", "Lejeune"}, {"Tine", "De Smet"},
    {"Gaëlle", "Simon"},
};
constexpr PersonText kSundstroem[] = {
    {"Åsa", "Sundström"}, {"Erik", "Lindqvist"},  {"Malin", "Ek"},       {"Johan", "Bergström"},
    {"Karin", "Öberg"},   {"Fredrik", "Nyström"}, {"Linnéa", "Sjögren"}, {"Oskar", "Hedlund"},
    {"Sofia", "Åkesson"}, {"Gustav", "Wallin"},   {"Ebba", "Norén"},     {"Henrik", "Dahlgren"},
};
constexpr PersonText kVltava[] = {
    {"Jana", "Nováková"},    {"Petr", "Svoboda"}, {"Lenka", "Veselá"},  {"Tomáš", "Novotný"}, {"Zuzana", "Pokorná"},
    {"Martin", "Sedlák"},    {"Eva", "Malá"},     {"Jakub", "Doležal"}, {"Alena", "Marková"}, {"Michal", "Pospíšil"},
    {"Veronika", "Králová"}, {"David", "Beneš"},  {"Hana", "Fialová"},
};

constexpr CompanyText kCompanies[] = {
    {"Nordhaven Logistics A/S", "Kystvejen 41", "8000", "Aarhus", "+45 86 55 01 40", "+45 86 55 01 49",
     "nordhaven.example", "DK 31 41 59 26", "Framework agreement, 10 % from the fifth participant on.", kNordhaven},
    {"O'Leary & Sons Ltd", "12 Merchant's Quay", "T12 X4EP", "Cork", "+353 21 555 0170", "", "olearysons.example",
     "IE 6388047V", "Family firm; invoices go to Conor O'Leary.", kOLeary},
    {"Müller Präzisionstechnik GmbH", "Neckarstraße 88", "70190", "Stuttgart", "+49 711 5550 230", "+49 711 5550 239",
     "mueller-praezision.example", "DE 811 569 869", "", kMueller},
    {"Banque Élysée Participations SA", "27 rue de la République", "69002", "Lyon", "+33 4 72 55 01 90",
     "+33 4 72 55 01 91", "banque-elysee.example", "FR 40 303 265 045", "Asks for certificates in French.", kElysee},
    {"Baltic Energy Sp. z o.o.", "ul. Portowa 15", "81-350", "Gdynia", "+48 58 555 01 60", "+48 58 555 01 61",
     "baltic-energy.example", "PL 583-000-12-46", "", kBaltic},
    {"Iberia Verde Alimentos S.L.", "Calle Betis 30", "41010", "Sevilla", "+34 954 555 110", "", "", "ES B91555110",
     "No shared mailbox; call the office.", kIberia},
    {"Harrow & Finch Insurance Brokers plc", "4 Lime Street Passage", "EC3M 7AA", "London", "+44 20 7946 0155",
     "+44 20 7946 0156", "harrowfinch.example", "GB 123 4567 82", "Prefers courses at its own office.", kHarrow},
    {"Rossi Ceramiche S.p.A.", "Via Emilia Est 211", "41122", "Modena", "+39 059 555 0120", "+39 059 555 0121",
     "rossiceramiche.example", "IT 00555120367", "", kRossi},
    {"Van der Meer Horticulture B.V.", "Legmeerdijk 313", "1431 GB", "Aalsmeer", "+31 297 555 018", "",
     "vandermeer-hort.example", "NL 8055.50.180.B01", "Busy before Mother's Day and Christmas.", kVanDerMeer},
    {"European Federation of Independent Pharmaceutical Wholesalers and Distribution Partners AISBL",
     "Rue Belliard 65, boîte 12", "1040", "Brussels", "+32 2 555 01 80", "+32 2 555 01 81", "efipwdp.example",
     "BE 0555.018.080", "Sends staff of its member firms.", kWholesalers},
    {"Sundström & Ek AB", "Lindholmspiren 7", "417 56", "Göteborg", "+46 31 555 01 30", "", "sundstrom-ek.example",
     "SE 556555013001", "", kSundstroem},
    {"Vltava Data Systems s.r.o.", "Národní 22", "110 00", "Praha", "+420 225 550 150", "+420 225 550 151",
     "vltavadata.example", "CZ 25550150", "Remote participants; send the materials two days ahead.", kVltava},
};

constexpr TrainerText kTrainers[] = {
    {"Margaret", "Ellison", "m.ellison@trainers.example", "+44 20 7946 0301",
     "Leadership and difficult conversations. Twenty years in industry.", 0.5},
    {"Henrik", "Aagaard", "h.aagaard@trainers.example", "+45 86 55 03 02", "Project management, certified.", 0.2},
    {"Claudia", "Brandt", "c.brandt@trainers.example", "+49 711 5550 303", "Negotiation, sales, purchasing.", 0.3},
    {"Rajesh", "Venkataraman", "r.venkataraman@trainers.example", "+44 20 7946 0304", "Spreadsheets and databases.",
     0.4},
    {"Beatrice", "O'Connor", "b.oconnor@trainers.example", "+353 21 555 0305", "Writing and presenting in English.",
     0.6},
    {"François", "Noël", "f.noel@trainers.example", "+33 4 72 55 03 06", "Finance for managers.", -0.4},
    {"Ewa", "Adamczyk", "", "+48 58 555 03 07", "Time management, stress, teams.", 0.1},
    {"Tom", "Harding", "t.harding@trainers.example", "", "Data protection and security. Freelance, book early.", -0.1},
};

}  // namespace

std::span<const CompanyText> Companies() {
  return kCompanies;
}

std::span<const TrainerText> Trainers() {
  return kTrainers;
}

}  // namespace surva::demo
